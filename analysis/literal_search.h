#ifndef ANALYSIS_LITERAL_SEARCH_H
#define ANALYSIS_LITERAL_SEARCH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "regex/expression.h"
#include "rules/rule_records.h"

// Finds which of many fixed texts a line holds. Made in next to no time, it is the search for small logs, where an
// automaton would not pay for its states. Each rule has texts, one of which every line that it matches holds.
class LiteralSearch {
 public:
  static constexpr size_t kMinText = 4;  // bytes

  // Derives the texts from the rules' keywords. `expressions` has read those that are expressions then.
  LiteralSearch(const std::vector<FeatureRule>& rules, ExpressionCache& expressions);

  // Whether rule i has such texts.
  bool hasTexts(size_t rule) const { return hasTexts_[rule]; }

  // As PatternSearch::findLines, for those rules i for which `wanted[i]` is set. REQUIRES: they have texts.
  void findLines(std::string_view text, const std::vector<bool>& wanted, std::vector<size_t>& starts);

  // Sets `found[i]` for each rule i that has a text in the line.
  void classify(std::string_view line, std::vector<bool>& found);

  // The text that is looked for when the rules i with `wanted[i]` have one in all; else null.
  const std::string* onlyText(const std::vector<bool>& wanted) const;

  // Whether it has been so slow for so long that an automaton is worth its states.
  bool isSlow() const { return work_ > kWorkOfAutomaton + searched_ / kMinJump; }

  // Bytes held, about.
  size_t memory() const;

 private:
  using Block = uint32_t;  // bytes that are hashed
  static constexpr size_t kHashBits = 12;
  static_assert(sizeof(Block) == kMinText);
  static constexpr size_t kWorkOfAutomaton = 512 * 1024;  // to be ready, in places looked at
  static constexpr size_t kMinJump = 4;                   // bytes; an automaton is as fast as jumps of this length

  static constexpr uint32_t kNone = UINT32_MAX;
  struct Text {
    std::string text;
    uint32_t rule;
    uint32_t next = kNone;  // text whose last block has the same hash
  };

  static size_t hashBefore(const char* pos);
  void setTables();

  // Calls `report`, which returns where to go on, with the rule and the end of each text that `subject` holds.
  template <typename Report>
  void search(std::string_view subject, Report report);

  std::vector<bool> hasTexts_;
  std::vector<Text> texts_;
  bool hasTables_ = false;  // they are set with the first search: a single text is left to another one
  // Per hash of the block before a place, the least number of bytes behind it at which a text may end.
  std::array<uint8_t, 1U << kHashBits> shift_;
  std::array<uint32_t, 1U << kHashBits> first_;  // per hash of the last block, the first of the texts
  size_t searched_ = 0;                          // bytes
  size_t work_ = 0;                              // places looked at, and comparisons by what they cost
};

#endif  // ANALYSIS_LITERAL_SEARCH_H
