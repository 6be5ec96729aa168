#ifndef CLI_CHECK_TEXT_SET_H
#define CLI_CHECK_TEXT_SET_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "regex/regex_tree.h"

// The set of texts that an expression takes, as a deterministic automaton whose states are made when they are needed.
// Unlike a search it can be compared with others: whether a text is in one set and not in another, and which.
class TextSet {
 public:
  // The lines that a keyword expression accepts. A variable stands for any text. Empty for an expression that cannot
  // be read: with a back-reference, or too large.
  static std::optional<TextSet> ofKeyWords(const std::string& keyWords);

  // The texts in which a regular expression finds a match; variables and failure as above.
  static std::optional<TextSet> foundBy(const std::string& expression);

  // The texts that it takes as a whole.
  static std::optional<TextSet> matchedBy(const std::string& expression);

  // The same for a part of an expression.
  static std::optional<TextSet> matchedBy(const RegexNode& node);

  // False for a set that holds more than the expression takes, since of a look-ahead over several bytes only the first
  // one is asked for.
  bool isExact() const { return isExact_; }

 private:
  friend class TextSearch;

  enum Before : uint8_t { kStart, kWord, kOther };  // what stands before the next byte
  static constexpr int kEnd = 256;                  // in place of a next byte
  static constexpr uint32_t kAll = 0;               // the state in which whatever follows is taken
  static constexpr uint32_t kNone = 1;              // and that in which nothing is

  struct Node {
    enum class Kind : uint8_t {
      kByte,
      kSplit,
      kLineStart,
      kLineEnd,
      kWordEdge,
      kNoWordEdge,
      kNextIs,
      kNextIsNot,
      kMatch
    };
    Kind kind;
    uint32_t next = 0;
    uint32_t other = 0;
    ByteSet bytes = {};
  };
  struct State {
    std::vector<uint32_t> nodes;
    Before before;
    std::map<uint8_t, uint32_t> next;  // by class of bytes
  };

  static std::optional<TextSet> of(const RegexNode& node, bool isSearch);

  uint32_t add(Node node);
  uint32_t build(const RegexNode& node, uint32_t next);
  uint32_t buildLookAhead(const RegexNode& node, uint32_t next);
  uint32_t buildRepeat(const RegexNode& node, uint32_t next);
  uint32_t stateOf(std::vector<uint32_t> nodes, Before before);
  bool follow(uint32_t state, int next, std::vector<uint32_t>& bytes) const;

  uint32_t after(uint32_t state, unsigned char byte);
  bool takes(uint32_t state) const;

  bool isSearch_ = false;
  bool isExact_ = true;
  bool isTooLarge_ = false;
  uint32_t begin_ = 0;
  uint32_t start_ = 0;
  std::vector<Node> nodes_;
  std::array<uint8_t, 256> classOf_{};
  std::vector<State> states_;
  std::map<std::pair<std::vector<uint32_t>, Before>, uint32_t> known_;
};

// What a search for a text gave.
struct TextFound {
  std::optional<std::string> text;  // a shortest one
  bool isCertain = true;            // without a text: there is none, for all have been tried
};

// Looks for a text of at most `maxSize` bytes, without a line feed, for which `isWanted` holds, given for each set
// whether it holds the text.
TextFound FindText(const std::vector<TextSet*>& sets, const std::function<bool(const std::vector<bool>&)>& isWanted,
                   size_t maxSize);

// `expression` as a tree; a variable in it is a repetition of any bytes.
std::optional<RegexTree> ReadWithVariables(const std::string& expression);

// True for the node that stands for a variable.
bool IsAnyText(const RegexNode& node);

// True when the node can take the empty text whatever stands around.
bool TakesEmptyText(const RegexNode& node);

// The bytes that a text which the node takes may begin with.
ByteSet FirstBytes(const RegexNode& node);

#endif  // CLI_CHECK_TEXT_SET_H
