#include <algorithm>
#include <list>
#include <memory>
#include <string_view>
#include <utility>

#include "analysis/analysis.h"
#include "rules/rule_syntax.h"
#include "util/string_util.h"
#include "util/trace_cut.h"

// A value may be as long as the log: it is copied once.
void Analysis::assemble() {
  for (const auto& [key, templateText] : templates_) {
    const bool isReason = key == kReasonKey;
    if (!isReason && result_.contains(key)) continue;
    std::string value = isReason ? kReasonSeparator : "";
    const size_t lead = value.size();
    appendParam(templateText, value);
    if (observer_ != nullptr) observer_->onTemplate(key, templateText, value.substr(lead));
    if (value.size() == lead) continue;
    const auto [entry, isNew] = result_.try_emplace(key);
    if (isNew || !isReason) {
      entry->second = std::move(value);
    } else {
      entry->second += value;
    }
  }
  processResult(result_);
}

std::string Analysis::assembleParam(const std::string& templateText) const {
  std::string value;
  appendParam(templateText, value);
  return value;
}

void Analysis::appendParam(const std::string& templateText, std::string& out) const {
  std::list<std::string> traces;
  std::vector<std::string_view> parts;
  size_t size = out.size();
  const std::string separator = SeparatorOf(templateText);
  const std::string_view joint = separator == kJoinMark ? " " : std::string_view(separator);
  for (const std::string& name : splitAssembleParam(templateText)) {
    const Record* record = records_.first(name);
    const std::string* part = record == nullptr ? &traces.emplace_back() : &record->second.line;
    const auto pattern = stackPatterns_.find(name);
    if (record != nullptr && pattern != stackPatterns_.end()) {
      const int32_t begin = record->second.position;
      // The log is read anew for each trace: it may have changed since the scan.
      const bool isSame = log_ != nullptr && log_->isStill(frame_->logPath);
      traces.push_back(isSame ? CutTrace(*log_, begin, pattern->second, cache_->expressions())
                              : assembleTrace(frame_->logPath, name, {*record}, pattern->second));
      part = &traces.back();
    }
    if (observer_ != nullptr) observer_->onContribution(name, record, *part);
    if (part->empty()) continue;
    parts.push_back(*part);
    size += part->size() + joint.size();
  }
  out.reserve(size);
  for (size_t i = 0; i < parts.size(); ++i) out.append(i == 0 ? "" : joint).append(parts[i]);
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
  const std::unique_ptr<ByteSource> log = record == records.end() ? nullptr : OpenLog(path);
  return log == nullptr ? "" : CutTrace(*log, record->second.position, pattern, cache_->expressions());
}

void Analysis::setStackRegex(const std::string& name, const std::string& pattern) {
  if (pattern.find(kStackMark) == std::string::npos) return;
  stackPatterns_.try_emplace(name, StackExpression(pattern));
}

void Analysis::processResult(std::map<std::string, std::string>& result) const {
  const auto reason = result.find(kReasonKey);
  if (reason != result.end() && reason->second.starts_with(kReasonSeparator)) reason->second.erase(0, 1);
}
