#include "cli/fleet/group_table.h"

#include <algorithm>

#include "stack/stack_util.h"

std::vector<std::string> LinesOf(std::string_view value) {
  std::vector<std::string> lines;
  while (!value.empty()) {
    const size_t end = std::min(value.find('\n'), value.size());
    std::string_view line = value.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    value.remove_prefix(std::min(end + 1, value.size()));
  }
  return lines;
}

std::vector<std::string> FramesOf(std::string_view stack) {
  std::vector<std::string> frames = LinesOf(stack);
  std::erase_if(frames, [](const std::string& line) { return StackUtil::HasExceptionList(line); });
  return frames;
}

void GroupTable::add(const std::string& value, const std::string& path, const std::string& stack) {
  Group& group = groups_[value];
  if (group.count++ == 0) group = {value, 1, path, path, stack};
  group.last = path;
}

std::vector<Group> GroupTable::sorted() const {
  std::vector<Group> groups;
  for (const auto& [value, group] : groups_) groups.push_back(group);
  std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) { return a.count > b.count; });
  return groups;
}
