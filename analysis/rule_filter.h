#ifndef ANALYSIS_RULE_FILTER_H
#define ANALYSIS_RULE_FILTER_H

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "analysis/pattern_search.h"

// The lines of one run that are worth evaluating. The rules as they were loaded share one search; those whose variables
// were filled on the way have texts of this run alone and get another.
class RuleFilter {
 public:
  // `ruleCount`: of the rules that `search` was made from.
  RuleFilter(std::shared_ptr<PatternSearch> search, size_t ruleCount)
      : search_(std::move(search)), inPlay_(ruleCount, false), filledIndex_(ruleCount, kNotFilled) {}

  // Whether rule i counts. Takes effect with apply(), as all that is decided here.
  void play(size_t rule, bool isInPlay) { inPlay_[rule] = isInPlay; }

  // The text of rule i has changed.
  void fill(size_t rule, FeatureRule text);
  void apply();

  // As PatternSearch has them.
  bool needsEveryLine() const;
  bool leavesOutMatches() const;
  void findLines(std::string_view text, std::vector<size_t>& starts);
  void findMatches(std::string_view text, std::vector<size_t>& starts);
  void classify(std::string_view line);
  bool mayMatch(size_t rule) const;
  void chooseBy(std::string_view sample);

 private:
  static constexpr size_t kNotFilled = SIZE_MAX;

  template <typename Find>
  void findWithBoth(std::vector<size_t>& starts, Find find);

  std::shared_ptr<PatternSearch> search_;
  std::vector<bool> inPlay_;
  std::vector<FeatureRule> filled_;
  std::vector<size_t> filledIndex_;  // per rule, its place in `filled_`
  std::unique_ptr<PatternSearch> filledSearch_;
};

#endif  // ANALYSIS_RULE_FILTER_H
