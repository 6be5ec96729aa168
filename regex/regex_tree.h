#ifndef REGEX_REGEX_TREE_H
#define REGEX_REGEX_TREE_H

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include "regex/byte_classes.h"

// An expression or a part of it: of a regular expression, or of keywords in the form of one.
struct RegexNode {
  enum class Kind {
    kByte,           // one byte out of `bytes`
    kSequence,       // all `parts` in a row; without parts it takes the empty text
    kChoice,         // one of `parts`, the earlier ones first
    kRepeat,         // `parts[0]`, `min` to `max` times; as few times as possible with `lazy`, else as many
    kFirstGroup,     // `parts[0]`, captured as the expression's first group; later groups are not marked
    kBackReference,  // what some group has captured
    kLineStart,      // "^"
    kLineEnd,        // "$"
    kWordBoundary,
    kNotWordBoundary,
    kLookAhead,  // `parts[0]` matches here
    kNegativeLookAhead,
  };
  static constexpr int kUnbounded = -1;

  Kind kind = Kind::kSequence;
  ByteSet bytes = {};
  std::vector<RegexNode> parts = {};
  int min = 0;
  int max = 0;
  bool lazy = false;
};

// Takes exactly the text.
RegexNode LiteralNode(std::string_view text);

// Takes any text.
RegexNode AnyText();

// Takes what one of the parts takes; nothing at all when there is none.
RegexNode ChoiceOf(std::vector<RegexNode> parts);

// Whether the node can be met without a byte being taken.
bool MayBeEmpty(const RegexNode& node);

// Whether every way through the node sets the first group.
bool AlwaysSetsGroup(const RegexNode& node);

bool IsLookAhead(const RegexNode& node);
bool IsFirstGroup(const RegexNode& node);

// Whether the node is a loop without an upper bound.
bool IsEndless(const RegexNode& node);

// Whether the predicate is true of the node or of one inside it.
template <typename Predicate>
bool Holds(const RegexNode& node, Predicate is) {
  return is(node) ||
         std::any_of(node.parts.begin(), node.parts.end(), [is](const RegexNode& part) { return Holds(part, is); });
}

struct RegexTree {
  RegexNode root;
  size_t groupCount = 0;
};

#endif  // REGEX_REGEX_TREE_H
