#include "cli/fleet/group_table.h"

#include <algorithm>

#include "cli/output/lines.h"
#include "stack/stack_util.h"

namespace {

constexpr size_t kMaxExamples = 50;  // of a group

}  // namespace

std::vector<std::string> FramesOf(std::string_view stack) {
  std::vector<std::string> frames = LinesOf(stack);
  std::erase_if(frames, [](const std::string& line) { return StackUtil::HasExceptionList(line); });
  return frames;
}

void GroupTable::add(const std::string& value, const std::string& path, const std::string& stack,
                     const std::string& reason, const std::string& event) {
  Group& group = groups_[value];
  if (group.count++ == 0) group = {value, 1, path, path, stack, reason, {}};
  group.last = path;
  if (group.examples.size() < kMaxExamples) group.examples.emplace_back(path, event);
}

std::vector<Group> GroupTable::sorted() const {
  std::vector<Group> groups;
  for (const auto& [value, group] : groups_) groups.push_back(group);
  std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) { return a.count > b.count; });
  return groups;
}
