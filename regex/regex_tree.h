#ifndef REGEX_REGEX_TREE_H
#define REGEX_REGEX_TREE_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "regex/byte_classes.h"

// A part of a regular expression.
struct RegexNode {
  enum class Kind {
    kByte,           // one byte out of `bytes`
    kSequence,       // all `parts` in a row; without parts it takes the empty text
    kChoice,         // one of `parts`, the earlier ones first
    kRepeat,         // `parts[0]`, `min` to `max` times; as few times as possible with `lazy`, else as many
    kFirstGroup,     // `parts[0]`, and what it takes is the expression's first group; later groups are not marked
    kBackReference,  // what some group has taken
    kLineStart,      // the place before the first byte
    kLineEnd,        // the place behind the last byte
    kWordEdge,       // "\b"
    kNoWordEdge,     // "\B"
    kAhead,          // a place behind which `parts[0]` takes some text
    kNotAhead,       // a place behind which it takes none
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

struct RegexTree {
  RegexNode root;
  size_t groupCount = 0;
};

// Reads a regular expression (ECMAScript). Empty for an expression that is invalid, and for one that the standard
// libraries do not agree about or that is too odd to be worth reading: those are left to std::regex alone. What is read
// is therefore known to compile.
std::optional<RegexTree> ReadRegexTree(std::string_view expression);

#endif  // REGEX_REGEX_TREE_H
