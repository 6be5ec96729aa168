#include "analysis/rule_filter.h"

#include <algorithm>

void RuleFilter::fill(size_t rule, FeatureRule text) {
  if (filledIndex_[rule] == kNotFilled) {
    filledIndex_[rule] = filled_.size();
    filled_.push_back(std::move(text));
  } else {
    filled_[filledIndex_[rule]] = std::move(text);
  }
  filledSearch_.reset();
}

void RuleFilter::apply() {
  std::vector<bool> asLoaded = inPlay_;
  std::vector<bool> filled(filled_.size(), false);
  for (size_t i = 0; i < inPlay_.size(); ++i) {
    if (filledIndex_[i] == kNotFilled) continue;
    filled[filledIndex_[i]] = inPlay_[i];
    asLoaded[i] = false;
  }
  search_->setInPlay(asLoaded);
  if (filled_.empty()) return;
  if (filledSearch_ == nullptr) {
    ExpressionCache expressions;
    filledSearch_ = std::make_unique<PatternSearch>(filled_, search_->finds(), expressions);
  }
  filledSearch_->setInPlay(filled);
}

bool RuleFilter::needsEveryLine() const {
  return search_->needsEveryLine() || (filledSearch_ != nullptr && filledSearch_->needsEveryLine());
}

bool RuleFilter::leavesOutMatches() const {
  return search_->leavesOutMatches() || (filledSearch_ != nullptr && filledSearch_->leavesOutMatches());
}

void RuleFilter::findLines(std::string_view text, std::vector<size_t>& starts) {
  findWithBoth(starts, [text](PatternSearch& search, std::vector<size_t>& found) { search.findLines(text, found); });
}

void RuleFilter::findMatches(std::string_view text, std::vector<size_t>& starts) {
  findWithBoth(starts, [text](PatternSearch& search, std::vector<size_t>& found) { search.findMatches(text, found); });
}

template <typename Find>
void RuleFilter::findWithBoth(std::vector<size_t>& starts, Find find) {
  const auto first = static_cast<std::ptrdiff_t>(starts.size());
  find(*search_, starts);
  if (filledSearch_ == nullptr) return;
  const auto middle = static_cast<std::ptrdiff_t>(starts.size());
  find(*filledSearch_, starts);
  std::inplace_merge(starts.begin() + first, starts.begin() + middle, starts.end());
  starts.erase(std::unique(starts.begin() + first, starts.end()), starts.end());
}

void RuleFilter::classify(std::string_view line) {
  search_->classify(line);
  if (filledSearch_ != nullptr) filledSearch_->classify(line);
}

bool RuleFilter::mayMatch(size_t rule) const {
  if (filledIndex_[rule] == kNotFilled) return search_->mayMatch(rule);
  return filledSearch_ == nullptr || filledSearch_->mayMatch(filledIndex_[rule]);
}

void RuleFilter::chooseBy(std::string_view sample) {
  search_->chooseBy(sample);
  if (filledSearch_ != nullptr) filledSearch_->chooseBy(sample);
}
