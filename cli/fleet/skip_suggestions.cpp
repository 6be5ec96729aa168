#include "cli/fleet/skip_suggestions.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "cli/fleet/stack_likeness.h"

namespace {

constexpr size_t kMaxSuggestions = 10;
constexpr size_t kMinUnlike = 3;          // groups
constexpr double kUnlikeDistance = 0.65;  // between them, from 0 to 1

using Frames = std::vector<std::string>;

std::string ExpressionFor(const std::string& name) {
  constexpr std::string_view kSpecial = "\\^$.+?()[]{}|";
  std::string expression = "^";
  for (const char c : name) {
    if (kSpecial.find(c) != std::string_view::npos) expression += '\\';
    expression += c == '*' ? ".*" : c == '#' ? "[#]" : std::string(1, c);
  }
  return expression + "$";
}

// Indices of the groups by the frame at their head. A stack of one frame has nothing that could stand for it.
std::map<std::string, std::vector<size_t>> GroupsByHead(const std::vector<Frames>& stacks) {
  std::map<std::string, std::vector<size_t>> heads;
  for (size_t i = 0; i < stacks.size(); ++i) {
    if (stacks[i].size() > 1) heads[stacks[i][0]].push_back(i);
  }
  return heads;
}

// Whether some of the groups, each of which has a stack like none of the others, are as many as that takes. The stacks
// are held against each other without the head and what is above it.
bool AreUnlike(const std::vector<size_t>& headed, const StackLikeness& likeness) {
  std::vector<size_t> unlike;
  for (const size_t i : headed) {
    const bool isUnlike = std::all_of(unlike.begin(), unlike.end(),
                                      [&](size_t other) { return likeness.distance(i, other) > kUnlikeDistance; });
    if (isUnlike) unlike.push_back(i);
    if (unlike.size() == kMinUnlike) return true;
  }
  return false;
}

std::vector<Frames> WithoutHeads(std::vector<Frames> stacks) {
  for (Frames& frames : stacks) {
    if (!frames.empty()) frames.erase(frames.begin());
  }
  return stacks;
}

void NoteMerged(const std::vector<Group>& groups, const std::vector<Frames>& before, const std::vector<Frames>& after,
                SkipSuggestion& suggestion) {
  std::map<Frames, std::vector<size_t>> alike;
  for (size_t i = 0; i < after.size(); ++i) alike[after[i]].push_back(i);
  for (const auto& [frames, members] : alike) {
    std::map<Frames, size_t> parts;
    for (const size_t i : members) parts.emplace(before[i], i);
    if (parts.size() < 2) continue;
    if (suggestion.into++ == 0) {
      suggestion.examples = {groups[parts.begin()->second].first, groups[std::next(parts.begin())->second].first};
    }
    suggestion.merged += parts.size();
  }
}

}  // namespace

std::vector<SkipSuggestion> SuggestSkips(const std::vector<Group>& groups, Grouping& grouping) {
  std::vector<Frames> stacks;
  for (const Group& group : groups) {
    stacks.push_back(grouping.framesOf(group.stack));
  }
  std::vector<SkipSuggestion> suggestions;
  while (suggestions.size() < kMaxSuggestions) {
    const StackLikeness likeness(WithoutHeads(stacks));
    SkipSuggestion best;
    std::string name;
    for (const auto& [head, headed] : GroupsByHead(stacks)) {
      size_t logs = 0;
      for (const size_t i : headed) logs += groups[i].count;
      if (logs <= best.logs || !AreUnlike(headed, likeness)) continue;
      name = head;
      best = {ExpressionFor(head), headed.size(), logs, 0, 0, {groups[headed[0]].first, groups[headed[1]].first}};
    }
    if (name.empty()) break;
    std::vector<Frames> rest = stacks;
    for (Frames& frames : rest) std::erase(frames, name);
    NoteMerged(groups, stacks, rest, best);
    stacks = std::move(rest);
    suggestions.push_back(std::move(best));
  }
  return suggestions;
}
