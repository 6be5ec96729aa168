#include "cli/fleet/group_text.h"

#include <algorithm>

#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "rules/rule_syntax.h"

namespace {

std::string Shown(const std::string& value) {
  const std::vector<std::string> lines = LinesOf(value);
  if (lines.size() < 2) return LineForPeople(value);
  return LineForPeople(lines.front()) + " (and " + std::to_string(lines.size() - 1) + " more lines)";
}

// The lines of a value that name a group.
size_t NameLines(const Grouping& grouping) { return std::max<size_t>(grouping.nameLines(), 1); }

}  // namespace

std::string TitleOf(const Group& group, const Grouping& grouping) {
  if (!grouping.isByFrames() && grouping.nameLines() == 1) return Shown(group.value);
  std::vector<std::string> lines = LinesOf(group.value);
  lines.resize(std::min(lines.size(), NameLines(grouping)));
  std::string title;
  for (const std::string& line : lines) title += (title.empty() ? "" : ", ") + LineForPeople(line);
  return title;
}

std::string ReasonOf(const Group& group, const Grouping& grouping) {
  return grouping.hasKey(kReasonKey) ? "" : Shown(group.reason);
}

std::vector<std::string> FramesBelow(const Group& group, const Grouping& grouping) {
  std::vector<std::string> frames = grouping.isByFrames() ? LinesOf(group.value) : FramesOf(group.stack);
  if (grouping.isByFrames()) frames.erase(frames.begin(), frames.begin() + static_cast<long>(NameLines(grouping)));
  frames.resize(std::min(frames.size(), std::max(kTopFrames, grouping.top())));
  return frames;
}
