#include <algorithm>
#include <cstdint>
#include <utility>

#include "analysis/analysis.h"
#include "regex/regex_reader.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

constexpr int kAppend = 0;
constexpr int kReplaceFirst = 1;
constexpr size_t kLastValuesAtOnce = 8;  // made as their lines come, before it pays to put them off

// True when any text of the rule that may carry variables has a property.
template <typename Predicate>
bool AnyText(const FeatureRule& rule, Predicate has) {
  return has(rule.keyWords) || has(rule.depend) ||
         std::any_of(rule.params.begin(), rule.params.end(), [&has](const auto& param) { return has(param.second); });
}

bool HoldsText(const FeatureRule& rule, const std::string& part) {
  return AnyText(rule, [&part](const std::string& text) { return text.find(part) != std::string::npos; });
}

// The most often that any of its texts holds `part`, and at least 1: a text may come to hold it.
size_t MostOccurrences(const FeatureRule& rule, const std::string& part) {
  size_t most = 1;
  AnyText(rule, [&](const std::string& text) {
    size_t count = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + part.size())) ++count;
    most = std::max(most, count);
    return false;
  });
  return most;
}

bool HasLastMark(std::string_view text) { return AppliedPattern(text).size() < text.size(); }

bool Holds(const LastValues::Params& params, const std::string& key) {
  return std::any_of(params.begin(), params.end(), [&key](const auto& param) { return param.key == key; });
}

// A value that holds its own variable would make a text grow from line to line.
bool IsOvergrown(const FeatureRule& rule) {
  return AnyText(rule, [](const std::string& text) { return text.size() > kMaxRuleText; });
}

}  // namespace

bool Analysis::parseLineByParam(const std::string& line, FeatureRule& rule) {
  const LastValues::Params* const putOff = keepForLastValues(line, rule);
  if (putOff != nullptr && putOff->size() == rule.params.size()) return false;
  bool anyLast = false;
  for (auto param = rule.params.begin(); param != rule.params.end();) {
    const bool isMarked = HasLastMark(param->second);
    anyLast = anyLast || isMarked;
    const bool isTaken = !(isMarked && putOff != nullptr && Holds(*putOff, param->first)) &&
                         takeParam(line, rule, param->first, param->second);
    param = isTaken && !isMarked && rule.command == kPlainCommand ? rule.params.erase(param) : std::next(param);
  }
  return !anyLast && rule.params.empty();
}

// Records the value of one parameter. False when the line does not yield it.
bool Analysis::takeParam(const std::string& line, const FeatureRule& rule, const std::string& key,
                         const std::string& text) {
  std::string pattern;
  const bool isMarked = getSeekInfo(text, pattern);
  std::string value;
  size_t offset = 0;
  if (pattern.find(kStackMark) == std::string::npos) {
    Regex::Match found;
    if (!cache_->expressions().search(pattern, line, found)) {
      if (observer_ != nullptr) observer_->onParam(rule, key, nullptr, 0);
      return false;
    }
    value = found.group;
    if (!found.group.empty()) offset = static_cast<size_t>(found.group.data() - line.data());
  }
  if (observer_ != nullptr) observer_->onParam(rule, key, &value, offset);
  const std::string name = RecordName(rule.name, key);
  makeRecord(name, {curPosition_, std::move(value)}, isMarked ? kReplaceFirst : kAppend);
  setStackRegex(name, pattern);
  if (isMarked) ++lastValueCount_;
  return true;
}

// The parameters of `rule` for which the line is kept, or null.
const LastValues::Params* Analysis::keepForLastValues(const std::string& line, const FeatureRule& rule) {
  if (mayPutOff_ && lastValues_ == nullptr && lastValueCount_ >= kLastValuesAtOnce) putOffLastValues();
  if (lastValues_ == nullptr || line.size() > kMaxLineLen) return nullptr;
  const LastValues::Params* const params = lastValues_->keep(rule, line, curPosition_);
  if (params != nullptr) ++recordCount_;
  return params;
}

// Puts off the values of which nobody asks for any but the last: no dependency, no segment part, no variable, and no
// parameter that adds to its records instead of replacing the one. An expression that std::regex has to search is
// applied to each line, as it may fail on some.
void Analysis::putOffLastValues() {
  lastValues_ = std::make_unique<LastValues>(window_);
  std::map<std::string, bool> mayWait;  // by name
  const auto forEach = [this](auto visit) {
    for (const FeatureRule& rule : frame_->rules) {
      for (const auto& [key, text] : rule.params) visit(rule, key, text, RecordName(rule.name, key));
    }
  };
  forEach([&](const FeatureRule&, const std::string&, const std::string& text, const std::string& name) {
    bool& may = mayWait.try_emplace(name, !isAwaited(name) && records_.count(name) <= 1).first->second;
    may = may && HasLastMark(text) && !IsStackPattern(text) && ReadRegex(AppliedPattern(text)).isSearchable();
  });
  forEach([&](const FeatureRule& rule, const std::string& key, const std::string& text, const std::string& name) {
    if (mayWait[name]) lastValues_->putOff(rule, {key, std::string(AppliedPattern(text)), name});
  });
}

// Whether the scan does something else once a record of that name is made, variables aside.
bool Analysis::isAwaited(const std::string& name) const {
  return BeginsSegment(name) ||
         std::any_of(frame_->rules.begin(), frame_->rules.end(), [&name](const FeatureRule& rule) {
           return !rule.depend.empty() && name.find(rule.depend) != std::string::npos;
         });
}

// Looks for the values that were put off. Returns how many lines were searched for nothing.
size_t Analysis::settleLastValues() {
  if (lastValues_ == nullptr) return 0;
  return lastValues_->settle([this](const LastValues::Param& param, std::string_view line, int32_t position) {
    Regex::Match found;
    if (!cache_->expressions().search(param.pattern, line, found)) return false;
    makeRecord(param.name, {position, std::string(found.group)}, kReplaceFirst);
    return true;
  });
}

void Analysis::setParamRecord(const std::string& name, const LineInfo& info, int mode) { makeRecord(name, info, mode); }

void Analysis::makeRecord(const std::string& name, LineInfo info, int mode) {
  const size_t nameCount = records_.nameCount();
  if (mode == kReplaceFirst) records_.eraseFirst(name);
  records_.append(name, std::move(info));
  ++recordCount_;
  if (records_.nameCount() > nameCount) newNames_.push_back(name);
}

// How many records of each name can matter, of those that come first, variables aside: templates take the first one.
// "@L@" uncovers any number where the name is taken without it too.
std::unordered_map<std::string, size_t> Analysis::recordsTaken() const {
  struct Use {
    bool isLast = false;
    bool isPlain = false;
  };
  std::unordered_map<std::string, Use> uses;
  for (const FeatureRule& rule : frame_->rules) {
    const bool isOpen = hasVariable(rule);
    for (const auto& [key, text] : rule.params) {
      const bool isMarked = HasLastMark(text);
      Use& use = uses[RecordName(rule.name, key)];
      use.isLast = use.isLast || isMarked || isOpen;
      use.isPlain = use.isPlain || !isMarked || isOpen;
    }
  }
  std::unordered_map<std::string, size_t> taken;
  for (const auto& [key, text] : templates_) {
    for (const std::string& name : splitAssembleParam(text)) taken[name] = 1;
  }
  for (const auto& [name, use] : uses) {
    if (use.isLast && use.isPlain) taken[name] = SIZE_MAX;
  }
  return taken;
}

// How many records of the name variables can take. One that stands in a text several times takes as many; a value with
// variables of its own may take more, which RecordList notices.
size_t Analysis::recordsFilled(const std::string& name) const {
  const std::string variable = VariableOf(name);
  size_t most = 0;
  for (const FeatureRule& rule : frame_->rules) {
    if (hasVariable(rule)) most = std::max(most, MostOccurrences(rule, variable));
  }
  return most;
}

bool Analysis::checkVariable(const FeatureRule& rule, const std::string& open, const std::string& close) const {
  return AnyText(rule, [&open, &close](const std::string& text) {
    return text.find(open) != std::string::npos && text.find(close) != std::string::npos;
  });
}

bool Analysis::checkVariableParam(FeatureRule& rule) const {
  if (!hasVariable(rule)) return true;
  // Only records whose variable occurs are visited, in their order; a value may bring in variables of its own.
  const auto occurs = [&rule](const std::string& name) { return HoldsText(rule, VariableOf(name)); };
  size_t slot = 0;
  while (!IsOvergrown(rule)) {
    const Record* record = records_.nextOf(slot, occurs);
    if (record == nullptr) break;
    replaceVariable(rule, VariableOf(record->first), record->second.line);
  }
  return !hasVariable(rule);
}

bool Analysis::hasVariable(const FeatureRule& rule) const { return checkVariable(rule, kOpenMark, kCloseMark); }

// True when a record is there for one of the rule's variables.
bool Analysis::hasVariableToFill(const FeatureRule& rule) const {
  if (!hasVariable(rule) || IsOvergrown(rule)) return false;
  size_t slot = 0;
  return records_.nextOf(slot, [&rule](const std::string& name) { return HoldsText(rule, VariableOf(name)); }) !=
         nullptr;
}

bool Analysis::hasVariableOf(const FeatureRule& rule, const std::string& record) {
  return HoldsText(rule, VariableOf(record));
}

bool Analysis::replaceVariable(const std::string& source, const std::string& variable, const std::string& value,
                               std::string& out) const {
  std::string text = source;
  const size_t pos = text.find(variable);
  if (pos != std::string::npos) text.replace(pos, variable.size(), value);
  out = std::move(text);
  return pos != std::string::npos;
}

void Analysis::replaceVariable(FeatureRule& rule, const std::string& variable, const std::string& value) const {
  replaceVariable(rule.keyWords, variable, value, rule.keyWords);
  replaceVariable(rule.depend, variable, value, rule.depend);
  for (auto& param : rule.params) replaceVariable(param.second, variable, value, param.second);
}

LineInfo Analysis::formatLineFeature(const std::string& text, const std::string& /*other*/) const {
  return {curPosition_, text};
}
