#include "analysis/pattern_search.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "regex/regex_reader.h"
#include "regex/selectivity.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxTableSize = 1024 * 1024;  // bytes of the tables of one automaton
constexpr double kMinSelectivity = 2;          // bits; a pattern below takes so many lines that it filters nothing
constexpr size_t kMaxStretches = 4;            // of one rule, the most selective ones
constexpr size_t kWidestLoopAtLast = 4;        // bytes; for rules that wear the automaton out
constexpr size_t kRuleOverhead = 4096;         // bytes of a rule and its patterns, about
constexpr size_t kMaxSample = 64;              // lines

// What a line must hold to be matched by a keyword expression; nothing when the expression cannot be read.
std::optional<std::vector<RegexNode>> KeyWordStretches(std::string_view keyWords, size_t widestLoop) {
  std::vector<RegexNode> stretches;
  switch (const KeyWordForm form = FormOf(keyWords)) {
    case KeyWordForm::kRegex: {
      const std::optional<RegexTree> tree = ReadRegex(keyWords.substr(kRegexMark.size())).tree;
      if (!tree) return std::nullopt;
      return Stretches(tree->root, widestLoop);
    }
    case KeyWordForm::kText:
      stretches.push_back(LiteralNode(keyWords));
      break;
    default: {
      std::string_view term;
      while (TakeTerm(keyWords, form == KeyWordForm::kAnd ? kAndMark : kOrMark, term)) {
        stretches.push_back(LiteralNode(term));
      }
      if (form == KeyWordForm::kOr) stretches = {ChoiceOf(std::move(stretches))};
    }
  }
  return stretches;
}

// Whether a match that yields no parameter leaves everything as it was.
bool ActsByParamsOnly(const FeatureRule& rule) {
  if (rule.num >= 2 || (rule.params.empty() && rule.command == kPlainCommand)) return false;
  return std::none_of(rule.params.begin(), rule.params.end(),
                      [](const auto& param) { return IsStackPattern(param.second); });
}

// What a line must hold to yield one of the parameters.
std::optional<RegexNode> YieldPattern(const FeatureRule& rule, size_t widestLoop) {
  RegexNode any = ChoiceOf({});
  for (const auto& param : rule.params) {
    const std::optional<RegexTree> tree = ReadRegex(AppliedPattern(param.second)).tree;
    if (!tree) return std::nullopt;
    any.parts.push_back(MostSelective(Stretches(tree->root, widestLoop)));
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

void FindText(std::string_view wanted, std::string_view text, std::vector<size_t>& starts) {
  const char* const end = text.data() + text.size();
  for (const char* pos = text.data(); pos < end;) {
    const void* hit = memmem(pos, static_cast<size_t>(end - pos), wanted.data(), wanted.size());
    if (hit == nullptr) return;
    const char* const at = static_cast<const char*>(hit);
    const void* before = memrchr(text.data(), '\n', static_cast<size_t>(at - text.data()));
    starts.push_back(before == nullptr ? 0 : static_cast<size_t>(static_cast<const char*>(before) + 1 - text.data()));
    const void* behind = memchr(at, '\n', static_cast<size_t>(end - at));
    pos = behind == nullptr ? end : static_cast<const char*>(behind) + 1;
  }
}

}  // namespace

std::optional<RegexNode> ReadKeyWords(std::string_view keyWords) {
  std::optional<std::vector<RegexNode>> stretches = KeyWordStretches(keyWords, SIZE_MAX);
  if (!stretches) return std::nullopt;
  RegexNode sequence;
  for (RegexNode& stretch : *stretches) {
    if (!sequence.parts.empty()) sequence.parts.push_back(AnyText());
    sequence.parts.push_back(std::move(stretch));
  }
  return sequence;
}

PatternSearch::PatternSearch(std::vector<FeatureRule> rules, Finds finds, ExpressionCache& expressions)
    : rules_(std::move(rules)), finds_(finds) {
  inPlay_.assign(rules_.size(), false);
  texts_ = std::make_unique<LiteralSearch>(rules_, expressions);
}

// From now on the automaton searches.
void PatternSearch::endTexts() {
  texts_.reset();
  readRules();
}

void PatternSearch::readRules() {
  patterns_.clear();
  selectivity_.clear();
  literals_.clear();
  conditions_.clear();
  automaton_.reset();
  matchAutomaton_.reset();
  for (const FeatureRule& rule : rules_) conditions_.push_back(read(rule));
  met_.assign(patterns_.size(), true);
  wanted_.assign(patterns_.size(), false);
  lookForChosen();
}

PatternSearch::Conditions PatternSearch::read(const FeatureRule& rule) {
  Conditions conditions;
  // Such a rule is not in play before its variables are filled, and has another text then.
  if (HoldsVariable(rule.keyWords)) return conditions;
  std::optional<std::vector<RegexNode>> stretches = KeyWordStretches(rule.keyWords, widestLoop_);
  // Keywords that cannot be read may be invalid: they have to be applied to the very next line, so that the error comes
  // where it would without a search.
  if (!stretches) return conditions;
  for (RegexNode& stretch : *stretches) {
    const double bits = Selectivity(stretch);
    if (bits >= kMinSelectivity) conditions.match.push_back(add(std::move(stretch), bits));
  }
  std::sort(conditions.match.begin(), conditions.match.end(),
            [this](uint32_t a, uint32_t b) { return selectivity_[a] > selectivity_[b]; });
  if (conditions.match.size() > kMaxStretches) conditions.match.resize(kMaxStretches);
  if (finds_ == Finds::kEffects && ActsByParamsOnly(rule)) {
    std::optional<RegexNode> yield = YieldPattern(rule, widestLoop_);
    const double bits = yield ? Selectivity(*yield) : 0;
    const double least = conditions.match.empty() ? kMinSelectivity : selectivity_[conditions.match[0]];
    if (bits > least) conditions.yield = add(std::move(*yield), bits);
  }
  chooseBySelectivity(conditions);
  return conditions;
}

// The number of a pattern; the same one for the same text.
uint32_t PatternSearch::add(RegexNode pattern, double bits) {
  const auto number = static_cast<uint32_t>(patterns_.size());
  const std::optional<std::string> literal = AsLiteral(pattern);
  if (literal) {
    const auto [known, isNew] = literals_.try_emplace(*literal, number);
    if (!isNew) return known->second;
  }
  selectivity_.push_back(bits);
  patterns_.push_back(std::move(pattern));
  return number;
}

void PatternSearch::chooseBySelectivity(Conditions& rule) {
  rule.chosen = rule.yield != kNone ? rule.yield : rule.match.empty() ? kNone : rule.match[0];
}

void PatternSearch::chooseBy(std::string_view sample) {
  if (texts_ != nullptr) endTexts();
  if (patterns_.empty()) return;
  std::vector<size_t> counts(patterns_.size(), 0);
  size_t lines = 0;
  for (size_t pos = 0; pos < sample.size() && lines < kMaxSample; ++lines) {
    const size_t end = std::min(sample.find('\n', pos), sample.size());
    made(automaton_).classify(sample.substr(pos, end - pos), met_);
    for (size_t i = 0; i < counts.size(); ++i) counts[i] += met_[i] ? 1 : 0;
    pos = end + 1;
  }
  for (Conditions& rule : conditions_) chooseByCounts(rule, counts);
  lookForChosen();
}

void PatternSearch::chooseByCounts(Conditions& rule, const std::vector<size_t>& counts) {
  chooseBySelectivity(rule);
  const auto prefer = [&](uint32_t pattern) {
    if (counts[pattern] < counts[rule.chosen]) rule.chosen = pattern;
  };
  for (const uint32_t pattern : rule.match) prefer(pattern);
  if (rule.yield != kNone) prefer(rule.yield);
}

void PatternSearch::setInPlay(const std::vector<bool>& inPlay) {
  if (inPlay == inPlay_) return;
  inPlay_ = inPlay;
  for (size_t i = 0; i < inPlay_.size() && texts_ != nullptr; ++i) {
    if (inPlay_[i] && !texts_->hasTexts(i)) return endTexts();
  }
  if (texts_ == nullptr) return lookForChosen();
  onlyLiteral_ = texts_->onlyText(inPlay_);
}

bool PatternSearch::hasCondition(size_t rule) const {
  return texts_ != nullptr ? texts_->hasTexts(rule) : conditions_[rule].chosen != kNone;
}

void PatternSearch::lookForChosen() {
  needsEveryLine_ = false;
  leavesOutMatches_ = false;
  wanted_.assign(patterns_.size(), false);
  for (size_t i = 0; i < conditions_.size(); ++i) {
    if (!inPlay_[i]) continue;
    const Conditions& rule = conditions_[i];
    needsEveryLine_ = needsEveryLine_ || rule.chosen == kNone;
    leavesOutMatches_ = leavesOutMatches_ || rule.yield != kNone;
    if (rule.chosen != kNone) wanted_[rule.chosen] = true;
  }
  onlyLiteral_ = nullptr;
  if (std::count(wanted_.begin(), wanted_.end(), true) != 1) return;
  for (const auto& [text, pattern] : literals_) {
    if (wanted_[pattern]) onlyLiteral_ = &text;
  }
}

void PatternSearch::findLines(std::string_view text, std::vector<size_t>& starts) {
  if (texts_ != nullptr && texts_->isSlow()) endTexts();
  if (needsEveryLine_) {
    AppendAllLines(text, starts);
  } else if (onlyLiteral_ != nullptr) {
    FindText(*onlyLiteral_, text, starts);
  } else if (texts_ != nullptr) {
    texts_->findLines(text, inPlay_, starts);
  } else {
    find(automaton_, wanted_, text, starts);
    mendWornOut();
  }
}

void PatternSearch::findMatches(std::string_view text, std::vector<size_t>& starts) {
  if (texts_ != nullptr) return texts_->findLines(text, inPlay_, starts);
  std::vector<bool> wanted(patterns_.size(), false);
  for (size_t i = 0; i < conditions_.size(); ++i) {
    if (!inPlay_[i]) continue;
    if (conditions_[i].match.empty()) return AppendAllLines(text, starts);
    wanted[conditions_[i].match[0]] = true;
  }
  find(matchAutomaton_, wanted, text, starts);
}

void PatternSearch::find(std::unique_ptr<LineAutomaton>& automaton, const std::vector<bool>& wanted,
                         std::string_view text, std::vector<size_t>& starts) {
  made(automaton).lookFor(wanted);
  automaton->findLines(text, starts);
}

LineAutomaton& PatternSearch::made(std::unique_ptr<LineAutomaton>& automaton) const {
  if (automaton == nullptr) automaton = std::make_unique<LineAutomaton>(patterns_, kMaxTableSize);
  return *automaton;
}

// Of rules whose states explode all loops are left out, since they make the states.
void PatternSearch::mendWornOut() {
  if (!automaton_->isWornOut() || widestLoop_ == kWidestLoopAtLast) return;
  widestLoop_ = kWidestLoopAtLast;
  readRules();
}

void PatternSearch::classify(std::string_view line) {
  if (texts_ != nullptr) return texts_->classify(line, metTexts_);
  made(automaton_).classify(line, met_);
  if (!automaton_->isWornOut()) return;
  mendWornOut();
  made(automaton_).classify(line, met_);
}

bool PatternSearch::mayMatch(size_t rule) const {
  if (texts_ != nullptr) return metTexts_[rule];
  const std::vector<uint32_t>& match = conditions_[rule].match;
  return std::all_of(match.begin(), match.end(), [this](uint32_t pattern) { return met_[pattern]; });
}

size_t PatternSearch::memory() const {
  size_t bytes = 0;
  for (const FeatureRule& rule : rules_) bytes += kRuleOverhead + rule.keyWords.size();
  if (texts_ != nullptr) bytes += texts_->memory();
  for (const auto* automaton : {automaton_.get(), matchAutomaton_.get()}) {
    if (automaton != nullptr) bytes += automaton->memory();
  }
  return bytes;
}
