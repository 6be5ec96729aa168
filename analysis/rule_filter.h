#ifndef ANALYSIS_RULE_FILTER_H
#define ANALYSIS_RULE_FILTER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "regex/line_automaton.h"
#include "regex/regex_tree.h"
#include "rules/rule_records.h"

// Reads a rule's keyword expression: "@R@" and a regular expression, terms separated by "@|@" or "@&@", or plain text.
// Empty when the regular expression cannot be read.
std::optional<RegexNode> ReadKeyWords(std::string_view keyWords);

// Any number of patterns, searched for in one pass.
class PatternSearch {
 public:
  explicit PatternSearch(std::vector<RegexNode> patterns);

  // As LineAutomaton has them.
  void findLines(std::string_view text, std::vector<size_t>& starts);
  void classify(std::string_view line, std::vector<bool>& found) { automaton().classify(line, found); }

 private:
  LineAutomaton& automaton();

  std::vector<RegexNode> patterns_;
  std::optional<std::string> literal_;  // the one text that is searched for
  std::unique_ptr<LineAutomaton> automaton_;
};

// What a set of rules, their variables resolved, may match: finds the lines that are worth evaluating.
class RuleFilter {
 public:
  // `rules` in the order in which they are tried.
  explicit RuleFilter(const std::vector<const FeatureRule*>& rules);

  // True when no line can be left out.
  bool needsEveryLine() const { return needsEveryLine_; }

  // True when some lines that rules may match are left out, because the rules would take nothing from them.
  bool leavesOutMatches() const { return effects_ != nullptr; }

  // Appends to `starts` the offset in `text` of each line on which a rule may do more than match: record a parameter,
  // be spent, or take the lines behind it. `text` as in LineAutomaton::findLines.
  void findLines(std::string_view text, std::vector<size_t>& starts);

  // The same for the lines that a rule may match.
  void findMatches(std::string_view text, std::vector<size_t>& starts);

  // Sets `mayMatch[i]` for each rule i that may match the line; it has one element per rule.
  void classify(std::string_view line, std::vector<bool>& mayMatch);

 private:
  bool needsEveryLine_ = false;
  std::vector<size_t> unread_;              // rules that may match any line
  std::unique_ptr<PatternSearch> matches_;  // one pattern per rule
  std::unique_ptr<PatternSearch> effects_;  // null when every match has an effect
};

#endif  // ANALYSIS_RULE_FILTER_H
