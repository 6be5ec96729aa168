#include "analysis/rule_filter.h"

#include <cstring>
#include <utility>

#include "regex/selectivity.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxTableSize = 1024 * 1024;  // bytes of the tables of one automaton
constexpr double kMinSelectivity = 2;          // bits; a pattern below takes so many lines that it filters nothing

RegexNode NoLine() { return ChoiceOf({}); }

std::optional<RegexNode> ReadRegex(std::string_view expression) {
  std::optional<RegexTree> tree = ReadRegexTree(expression);
  if (!tree) return std::nullopt;
  return std::move(tree->root);
}

// A pattern worth searching for, or nothing.
std::optional<RegexNode> Selective(const std::optional<RegexNode>& pattern) {
  if (!pattern) return std::nullopt;
  RegexNode stretch = MostSelectiveStretch(*pattern);
  if (Selectivity(stretch) < kMinSelectivity) return std::nullopt;
  return stretch;
}

// Whether a match that yields no parameter leaves everything as it was.
bool ActsByParamsOnly(const FeatureRule& rule) {
  if (rule.num >= 2 || (rule.params.empty() && rule.command == kPlainCommand)) return false;
  for (const auto& param : rule.params) {
    if (IsStackPattern(param.second)) return false;
  }
  return true;
}

// What a line must hold to yield one of the parameters.
std::optional<RegexNode> ParamPattern(const FeatureRule& rule) {
  RegexNode any = NoLine();
  for (const auto& param : rule.params) {
    const std::optional<RegexNode> pattern = Selective(ReadRegex(AppliedPattern(param.second)));
    if (!pattern) return std::nullopt;
    any.parts.push_back(*pattern);
  }
  return any;
}

void AppendAllLines(std::string_view text, std::vector<size_t>& starts) {
  for (size_t pos = 0; pos < text.size();) {
    starts.push_back(pos);
    const size_t lineFeed = text.find('\n', pos);
    pos = lineFeed == std::string_view::npos ? text.size() : lineFeed + 1;
  }
}

}  // namespace

std::optional<RegexNode> ReadKeyWords(std::string_view keyWords) {
  const KeyWordForm form = FormOf(keyWords);
  if (form == KeyWordForm::kRegex) return ReadRegex(keyWords.substr(kRegexMark.size()));
  if (form == KeyWordForm::kText) return LiteralNode(keyWords);
  const bool all = form == KeyWordForm::kAnd;
  RegexNode pattern{.kind = all ? RegexNode::Kind::kSequence : RegexNode::Kind::kChoice};
  std::string_view term;
  while (TakeTerm(keyWords, all ? kAndMark : kOrMark, term)) {
    pattern.parts.push_back(LiteralNode(term));
    if (all) pattern.parts.push_back(AnyText());
  }
  return pattern;
}

PatternSearch::PatternSearch(std::vector<RegexNode> patterns) : patterns_(std::move(patterns)) {
  if (patterns_.size() == 1) literal_ = AsLiteral(patterns_[0]);
}

void PatternSearch::findLines(std::string_view text, std::vector<size_t>& starts) {
  if (!literal_) {
    automaton().findLines(text, starts);
    return;
  }
  const char* const end = text.data() + text.size();
  for (const char* pos = text.data(); pos < end;) {
    const void* hit = memmem(pos, static_cast<size_t>(end - pos), literal_->data(), literal_->size());
    if (hit == nullptr) return;
    const char* const at = static_cast<const char*>(hit);
    const void* before = memrchr(text.data(), '\n', static_cast<size_t>(at - text.data()));
    starts.push_back(before == nullptr ? 0 : static_cast<size_t>(static_cast<const char*>(before) + 1 - text.data()));
    const void* behind = memchr(at, '\n', static_cast<size_t>(end - at));
    pos = behind == nullptr ? end : static_cast<const char*>(behind) + 1;
  }
}

LineAutomaton& PatternSearch::automaton() {
  if (automaton_ == nullptr) automaton_ = std::make_unique<LineAutomaton>(patterns_, kMaxTableSize);
  return *automaton_;
}

RuleFilter::RuleFilter(const std::vector<const FeatureRule*>& rules) {
  std::vector<RegexNode> matches;
  std::vector<RegexNode> effects;
  bool differ = false;
  for (size_t i = 0; i < rules.size(); ++i) {
    const std::optional<RegexNode> keyWords = ReadKeyWords(rules[i]->keyWords);
    const std::optional<RegexNode> match = Selective(keyWords);
    if (!match) unread_.push_back(i);
    matches.push_back(match.value_or(NoLine()));
    std::optional<RegexNode> effect = match;
    // Keywords that could not be read may be invalid, which the first line that they are applied to has to show.
    if (keyWords && ActsByParamsOnly(*rules[i])) {
      const std::optional<RegexNode> yield = ParamPattern(*rules[i]);
      if (yield && (!match || Selectivity(*yield) > Selectivity(*match))) {
        effect = yield;
        differ = true;
      }
    }
    if (!effect) {
      needsEveryLine_ = true;
      return;
    }
    effects.push_back(std::move(*effect));
  }
  matches_ = std::make_unique<PatternSearch>(std::move(matches));
  if (differ) effects_ = std::make_unique<PatternSearch>(std::move(effects));
}

void RuleFilter::findLines(std::string_view text, std::vector<size_t>& starts) {
  (effects_ != nullptr ? effects_ : matches_)->findLines(text, starts);
}

void RuleFilter::findMatches(std::string_view text, std::vector<size_t>& starts) {
  if (unread_.empty()) {
    matches_->findLines(text, starts);
  } else {
    AppendAllLines(text, starts);
  }
}

void RuleFilter::classify(std::string_view line, std::vector<bool>& mayMatch) {
  matches_->classify(line, mayMatch);
  for (const size_t i : unread_) mayMatch[i] = true;
}
