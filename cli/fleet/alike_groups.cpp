#include "cli/fleet/alike_groups.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iomanip>
#include <map>
#include <ostream>
#include <utility>

#include "cli/fleet/group_text.h"
#include "cli/fleet/stack_likeness.h"
#include "cli/output/json_text.h"
#include "cli/output/terminal.h"

namespace {

constexpr size_t kMaxSets = 20;  // that people are shown
constexpr size_t kMaxMembers = 10;

size_t LogsOf(const Group& group) { return group.count > 0 ? group.count : group.before; }

std::string Decimal(double number) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f", number);
  return text.data();
}

void PrintSet(const AlikeSet& set, const AlikeGroups& alike, const Grouping& grouping, std::ostream& out) {
  out << '\n' << Counted(set.members.size(), "group") << " of " << Counted(set.logs, "log") << '\n';
  for (size_t i = 0; i < std::min(set.members.size(), kMaxMembers); ++i) {
    const Group& group = alike.groups[set.members[i].group];
    out << std::setw(8) << LogsOf(group) << std::setw(6) << Decimal(set.members[i].distance) << "  "
        << TitleOf(group, grouping) << ", first: " << LineForPeople(group.first) << '\n';
    if (i > 0) continue;
    for (const std::string& frame : FramesBelow(group, grouping)) {
      out << std::string(16, ' ') << LineForPeople(frame) << '\n';
    }
  }
  if (set.members.size() > kMaxMembers) out << "        and " << set.members.size() - kMaxMembers << " more\n";
}

}  // namespace

size_t AlikeGroups::alikeCount() const {
  size_t count = 0;
  for (const AlikeSet& set : sets) count += set.members.size() - 1;
  return count;
}

AlikeGroups FindAlike(std::vector<Group> groups, Grouping& grouping) {
  std::sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) {
    return LogsOf(a) != LogsOf(b) ? LogsOf(a) > LogsOf(b) : a.value < b.value;
  });
  std::vector<std::vector<std::string>> stacks;
  for (const Group& group : groups) stacks.push_back(grouping.framesOf(group.stack, StackLikeness::kMaxFrames));
  const std::vector<StackLikeness::Match> leaders = StackLikeness(stacks).leaders();
  std::map<size_t, AlikeSet> byLeader;
  for (size_t i = 0; i < groups.size(); ++i) {
    AlikeSet& set = byLeader[leaders[i].stack];
    set.members.push_back({i, leaders[i].distance});
    set.logs += LogsOf(groups[i]);
  }
  AlikeGroups alike{std::move(groups), {}};
  for (auto& [leader, set] : byLeader) {
    if (set.members.size() < 2) continue;
    std::stable_sort(set.members.begin() + 1, set.members.end(),
                     [](const auto& a, const auto& b) { return a.distance < b.distance; });
    alike.sets.push_back(std::move(set));
  }
  std::stable_sort(alike.sets.begin(), alike.sets.end(),
                   [](const AlikeSet& a, const AlikeSet& b) { return a.logs > b.logs; });
  return alike;
}

void PrintAsText(const AlikeGroups& alike, const Grouping& grouping, std::ostream& out) {
  out << "Groups that look like a larger one: " << alike.alikeCount() << " of " << alike.groups.size()
      << ", at a distance of at most " << Decimal(StackLikeness::kMaxDistance) << '\n';
  for (size_t i = 0; i < std::min(alike.sets.size(), kMaxSets); ++i) PrintSet(alike.sets[i], alike, grouping, out);
  if (alike.sets.size() > kMaxSets) out << "\nand " << alike.sets.size() - kMaxSets << " more\n";
}

Json::Value ToJson(const AlikeGroups& alike) {
  Json::Value root;
  root["maxDistance"] = StackLikeness::kMaxDistance;
  root["compared"] = JsonNumber(alike.groups.size());
  root["alike"] = JsonNumber(alike.alikeCount());
  root["sets"] = Json::arrayValue;
  for (const AlikeSet& set : alike.sets) {
    Json::Value& item = root["sets"].append(Json::Value());
    item["logs"] = JsonNumber(set.logs);
    for (const auto& [index, distance] : set.members) {
      const Group& group = alike.groups[index];
      Json::Value& member = item["groups"].append(Json::Value());
      member["value"] = group.value;
      member["count"] = JsonNumber(LogsOf(group));
      member["distance"] = distance;
      member["first"] = group.first;
    }
  }
  return root;
}
