#ifndef ANALYSIS_PATTERN_SEARCH_H
#define ANALYSIS_PATTERN_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/literal_search.h"
#include "regex/line_automaton.h"
#include "regex/regex_tree.h"
#include "regex/selectivity.h"
#include "rules/rule_records.h"

// Reads a rule's keyword expression: "@R@" and a regular expression, terms separated by "@|@" or "@&@", or plain text.
// Empty when the regular expression cannot be read.
std::optional<RegexNode> ReadKeyWords(std::string_view keyWords);

// Counts lines evaluated and expressions searched for in vain, until they are so many that a search should choose anew
// by a sample.
class VainWork {
 public:
  static constexpr size_t kSampleSize = 8192;  // bytes

  void add(size_t count) { count_ += count; }
  bool isMuch() const { return count_ > most_; }
  void restart() {
    count_ = 0;
    most_ *= 4;
  }

 private:
  size_t count_ = 0;
  size_t most_ = 64;
};

// Finds the lines that a list of rules may do something with, in one pass for all of them. Each rule has necessary
// conditions, derived from its text alone: stretches all of which a line that it matches holds, and what a match must
// hold to yield anything. One of them, the rarest as far as known, is looked for. What is made of the rules serves
// every log; which of them are in play may change at any time. A search begins with fixed texts alone, which cost
// nothing to get ready; an automaton follows where it pays. Not for several threads at once.
class PatternSearch {
 public:
  // Of the lines that a rule matches, those on which that has an effect, or all.
  enum class Finds { kEffects, kMatches };

  // `rules` in the order in which they are tried.
  PatternSearch(std::vector<FeatureRule> rules, Finds finds, ExpressionCache& expressions);

  Finds finds() const { return finds_; }

  // Which rules count from now on, one element per rule; at first none does.
  void setInPlay(const std::vector<bool>& inPlay);

  // False for a rule that may do something on any line. Only asked of rules that are or were in play.
  bool hasCondition(size_t rule) const;

  // True when no line can be left out: a rule in play may do something on any.
  bool needsEveryLine() const { return needsEveryLine_; }

  // True when some lines that rules may match may be left out, because the rules would take nothing from them.
  bool leavesOutMatches() const { return leavesOutMatches_; }

  // Appends to `starts` the offset in `text` of each line on which a rule in play may have an effect: record a
  // parameter, be spent, or take the lines behind it; or on which it may match, if those are to be found. `text` as in
  // LineAutomaton::findLines.
  void findLines(std::string_view text, std::vector<size_t>& starts);

  // The same for the lines that a rule may match.
  void findMatches(std::string_view text, std::vector<size_t>& starts);

  // After this, mayMatch(i) tells whether rule i may match the line, in play or not.
  void classify(std::string_view line);
  bool mayMatch(size_t rule) const;

  // Looks for those conditions from now on that the fewest lines of `sample` meet.
  void chooseBy(std::string_view sample);

  // Bytes held, about.
  size_t memory() const;

 private:
  static constexpr uint32_t kNone = UINT32_MAX;

  // A rule's conditions, as numbers of patterns.
  struct Conditions {
    std::vector<uint32_t> match = {};  // all are necessary; none: any line may match
    uint32_t yield = kNone;            // necessary besides for a match to have an effect; kept if it is rarer
    uint32_t chosen = kNone;           // the one that is looked for; kNone: every line
  };

  void endTexts();
  void readRules();
  Conditions read(const FeatureRule& rule);
  uint32_t add(RegexNode pattern, double bits);
  static void chooseBySelectivity(Conditions& rule);
  static void chooseByCounts(Conditions& rule, const std::vector<size_t>& counts);
  void lookForChosen();
  void find(std::unique_ptr<LineAutomaton>& automaton, const std::vector<bool>& wanted, std::string_view text,
            std::vector<size_t>& starts);
  LineAutomaton& made(std::unique_ptr<LineAutomaton>& automaton) const;
  void mendWornOut();

  std::vector<FeatureRule> rules_;
  Finds finds_;
  std::unique_ptr<LiteralSearch> texts_;  // the search to begin with; null when it is over
  std::vector<bool> metTexts_;            // per rule, whether the classified line has a text of it
  size_t widestLoop_ = kNearlyAllCharacters;
  std::vector<RegexNode> patterns_;
  std::vector<double> selectivity_;           // per pattern
  std::map<std::string, uint32_t> literals_;  // patterns that are one fixed text
  std::vector<Conditions> conditions_;        // per rule

  std::vector<bool> inPlay_;  // per rule
  bool needsEveryLine_ = false;
  bool leavesOutMatches_ = false;
  std::vector<bool> wanted_;                  // per pattern, whether lines that meet it are found
  const std::string* onlyLiteral_ = nullptr;  // the one text that is looked for, if it is one
  std::vector<bool> met_;                     // per pattern, by the classified line
  std::unique_ptr<LineAutomaton> automaton_;
  std::unique_ptr<LineAutomaton> matchAutomaton_;  // looks for matches without effect too
};

#endif  // ANALYSIS_PATTERN_SEARCH_H
