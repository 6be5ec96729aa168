#include "analysis/feature_lines.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

// A feature with more lines is better off reading the whole log by itself.
constexpr size_t kLinesAlways = 64;
constexpr size_t kBytesPerLine = 32 * 1024;

// Whether the lines that a rule may match are known from its text as loaded, in the segment part of a log as before.
bool IsFixed(const FeatureRule& rule) {
  const auto changesLines = [&rule](const auto& param) {
    return HoldsVariable(param.second) || BeginsSegment(RecordName(rule.name, param.first));
  };
  return !rule.keyWords.empty() && !HoldsVariable(rule.keyWords) && !HoldsVariable(rule.depend) &&
         std::none_of(rule.params.begin(), rule.params.end(), changesLines);
}

// What finding the matches of a rule takes of it.
FeatureRule KeyWordsOf(const FeatureRule& rule) {
  FeatureRule bare;
  bare.keyWords = rule.keyWords;
  return bare;
}

}  // namespace

FeatureLines::FeatureLines(ByteSource& log, size_t window, const std::vector<const FeatureFrame*>& frames)
    : log_(log), reader_(log, window), most_(kLinesAlways + log.size() / kBytesPerLine) {
  std::vector<FeatureRule> rules;
  for (const FeatureFrame* frame : frames) {
    const auto& own = frame->rules;
    features_.push_back({rules.size(), own.size(), !own.empty() && std::all_of(own.begin(), own.end(), IsFixed)});
    std::transform(own.begin(), own.end(), std::back_inserter(rules), KeyWordsOf);
  }
  ExpressionCache expressions;
  search_ = std::make_unique<PatternSearch>(std::move(rules), PatternSearch::Finds::kMatches, expressions);
  setInPlay();
  for (Feature& feature : features_) {
    for (size_t i = 0; i < feature.ruleCount && feature.canBeFound; ++i) {
      feature.canBeFound = search_->hasCondition(feature.firstRule + i);
    }
  }
  setInPlay();
}

// Those rules count whose features still have to be found.
void FeatureLines::setInPlay() {
  std::vector<bool> inPlay;
  for (const Feature& feature : features_) {
    inPlay.insert(inPlay.end(), feature.ruleCount, feature.canBeFound && !feature.isCut);
  }
  search_->setInPlay(inPlay);
}

FeatureLines::Place FeatureLines::next(size_t feature, size_t pos, size_t& cursor) {
  const Feature& wanted = features_[feature];
  while (true) {
    const std::vector<Line>& lines = wanted.lines;
    while (cursor < lines.size() && lines[cursor].begin < pos) ++cursor;
    const bool isCut = wanted.isCut && cursor + 1 >= lines.size();
    if (cursor < lines.size()) {
      return {lines[cursor].begin, lines[cursor].number, isCut ? Place::Kind::kTooMany : Place::Kind::kMayMatch};
    }
    if (isCut) return {pos, 0, Place::Kind::kTooMany};
    if (end_ > pos || end_ >= log_.size()) return {std::max(pos, end_), number_, Place::Kind::kNothing};
    searchWindow();
  }
}

void FeatureLines::searchWindow() {
  const std::string_view text = reader_.linesFrom(end_);
  isWhole_ = reader_.size() == log_.size();
  if (text.empty()) {
    // A line that does not fit is too long to be examined.
    end_ = isWhole_ ? reader_.lineAt(end_).next : log_.size();
    return;
  }
  starts_.clear();
  search_->findLines(text, starts_);
  size_t found = 0;
  for (size_t pos = 0; pos < text.size();) {
    const std::string_view line = text.substr(pos, text.find('\n', pos) - pos);
    const bool isFound = found < starts_.size() && starts_[found] == pos;
    if (isFound) ++found;
    if (line.size() <= kMaxLineLen) {
      if (isFound) noteLine(line, end_ + pos);
      ++number_;
    }
    pos += line.size() + 1;
  }
  if (vain_.isMuch()) {
    search_->chooseBy(text.substr(0, VainWork::kSampleSize));
    vain_.restart();
  }
  end_ += text.size();
}

// Gives the line to the features whose rules may match it.
void FeatureLines::noteLine(std::string_view line, size_t begin) {
  search_->classify(line);
  bool isAny = false;
  bool isAnyCut = false;
  for (Feature& feature : features_) {
    if (!feature.canBeFound || feature.isCut || !mayMatch(feature)) continue;
    isAny = true;
    feature.isCut = feature.lines.size() == most_;
    isAnyCut = isAnyCut || feature.isCut;
    feature.lines.push_back({static_cast<uint32_t>(begin), static_cast<uint32_t>(number_)});
  }
  if (!isAny) vain_.add(1);
  if (isAnyCut) setInPlay();
}

bool FeatureLines::mayMatch(const Feature& feature) const {
  for (size_t i = 0; i < feature.ruleCount; ++i) {
    if (search_->mayMatch(feature.firstRule + i)) return true;
  }
  return false;
}
