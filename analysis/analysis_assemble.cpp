#include <algorithm>

#include "analysis/analysis.h"
#include "rules/rule_syntax.h"
#include "util/string_util.h"
#include "util/trace_cut.h"

void Analysis::assemble() {
  for (const auto& [key, templateText] : templates_) {
    if (key != kReasonKey && result_.contains(key)) continue;
    const std::string value = assembleParam(templateText);
    if (observer_ != nullptr) observer_->onTemplate(key, templateText, value);
    if (value.empty()) continue;
    if (key == kReasonKey) {
      result_[key].append(kReasonSeparator).append(value);
    } else {
      result_[key] = value;
    }
  }
  processResult(result_);
}

std::string Analysis::assembleParam(const std::string& templateText) const {
  std::vector<std::string> parts;
  for (const std::string& name : splitAssembleParam(templateText)) {
    const Record* record = records_.first(name);
    if (record != nullptr) {
      const auto pattern = stackPatterns_.find(name);
      parts.push_back(pattern == stackPatterns_.end()
                          ? record->second.line
                          : assembleTrace(frame_->logPath, name, {*record}, pattern->second));
    }
    if (observer_ != nullptr) observer_->onContribution(name, record, record == nullptr ? "" : parts.back());
  }
  const std::string separator = SeparatorOf(templateText);
  const std::string joint = separator == kJoinMark ? " " : separator;
  std::string joined = StringUtil::VectorToString(parts, false, joint);
  if (joined.size() > joint.size()) joined.resize(joined.size() - joint.size());
  return joined;
}

std::vector<std::string> Analysis::splitAssembleParam(const std::string& templateText) const {
  const std::string separator = SeparatorOf(templateText);
  if (separator.empty()) return {templateText};
  std::vector<std::string> names;
  StringUtil::SplitStr(templateText, separator, names, false, false);
  return names;
}

std::string Analysis::assembleTrace(const std::string& path, const std::string& name,
                                    const std::vector<Record>& records, const std::string& pattern) const {
  const auto record =
      std::find_if(records.begin(), records.end(), [&name](const Record& r) { return r.first == name; });
  // The file is read anew for each trace: it may have changed since the scan.
  return record == records.end() ? "" : CutTrace(path, record->second.position, pattern);
}

void Analysis::setStackRegex(const std::string& name, const std::string& pattern) {
  if (pattern.find(kStackMark) == std::string::npos) return;
  stackPatterns_.try_emplace(name, StackExpression(pattern));
}

void Analysis::processResult(std::map<std::string, std::string>& result) const {
  const auto reason = result.find(kReasonKey);
  if (reason != result.end() && reason->second.starts_with(kReasonSeparator)) reason->second.erase(0, 1);
}
