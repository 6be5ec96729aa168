#include <algorithm>

#include "regex/regex.h"
#include "stack/frame_name.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"

bool StackUtil::IsCallStack(std::string& /*line*/) {
  // Prose between the frames belongs to the stack too: no shape that a line may have is refused.
  return true;
}

bool StackUtil::HasCausedBy(const std::string& line) { return HoldsAnyOf(line, kCauseMarks); }

bool StackUtil::HasExceptionList(const std::string& name) {
  return name == kUnmatchedException || std::binary_search(kExceptionNames.begin(), kExceptionNames.end(), name);
}

std::string StackUtil::MatchExceptionLibrary(const std::string& line) {
  for (const std::string_view name : kExceptionNames) {
    if (line.find(name) != std::string::npos) return std::string(name);
  }
  return std::string(kUnmatchedException);
}

bool StackUtil::IsIgnoreLibrary(const std::string& frame) { return FindIgnoredName(frame).level > 0; }

std::stack<std::string> StackUtil::GetStackTop(const std::vector<std::string>& trace, unsigned long count) {
  std::stack<std::string> top;
  for (size_t i = 0; i < trace.size(); ++i) {
    if (i == 0 || trace.size() - i < count) top.push(trace[i]);
  }
  return top;
}

std::string StackUtil::GetStackName(std::string frame) { return FrameName(frame); }

bool StackUtil::GetPartial(const std::string& line, const std::string& pattern, std::string& part) {
  Regex regex(pattern);
  Regex::Match found;
  if (!regex.search(line, found) || regex.groupCount() == 0) return false;
  part = found.group;
  return true;
}
