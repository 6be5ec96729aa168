#include "cli/fleet/comparison.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

size_t LogsOf(const GroupMove& move) {
  size_t logs = 0;
  for (const GroupStep& step : move.steps) logs += step.count;
  return logs;
}

void AddTo(std::map<std::string, Group>& groups, const std::string& name, const std::string& path,
           const TextMap& results) {
  if (name.empty()) return;
  Group& group = groups[name];
  if (group.count++ > 0) return;
  group.value = name;
  group.first = path;
  group.stack = ValueOf(results, kStackKey);
}

std::vector<Group> ListOf(const std::map<std::string, Group>& groups) {
  std::vector<Group> list;
  for (const auto& [name, group] : groups) list.push_back(group);
  return list;
}

}  // namespace

void Comparison::add(const std::string& path, const LogResult& before, const LogResult& after) {
  if (logs_ == 0 || path != lastPath_) ++logs_;  // a log under several event types comes several times
  lastPath_ = path;
  if (before.fault.empty() && !after.fault.empty()) failing_.push_back({path, after.fault});
  if (!before.fault.empty() && after.fault.empty()) mended_.push_back({path, before.fault});
  if (!before.fault.empty() && !after.fault.empty()) faulty_.push_back({path, after.fault});
  if (before.results.empty() && !after.results.empty()) gained_.push_back(path);
  if (!before.results.empty() && after.results.empty()) lost_.push_back(path);
  const GroupNames names = {groupOf(before.results), groupOf(after.results)};
  AddTo(groupsBefore_, names.first, path, before.results);
  AddTo(groupsAfter_, names.second, path, after.results);
  const bool isInBoth = !names.first.empty() && !names.second.empty();
  if (before.results != after.results) {
    addChanged(path, before.results, after.results, isInBoth && names.first != names.second);
  }
  if (before.results.empty() || after.results.empty()) return;
  addKeys(path, before.results, after.results);
  if (isInBoth) addStep(path, before.results, after.results, names);
}

// Empty for none.
std::string Comparison::groupOf(const TextMap& results) {
  const auto value = grouping_.valueOf([&results](std::string_view key) -> std::optional<std::string> {
    const auto found = results.find(std::string(key));
    return found == results.end() ? std::nullopt : std::optional(found->second);
  });
  return value.value_or("");
}

void Comparison::findAlike() {
  alike_.emplace(AlikePair{FindAlike(ListOf(groupsBefore_), grouping_), FindAlike(ListOf(groupsAfter_), grouping_)});
}

void Comparison::addKeys(const std::string& path, const TextMap& before, const TextMap& after) {
  const auto note = [&](const std::string& key, size_t KeyChange::*count) {
    KeyChange& change = keys_[key];
    if (change.example.empty()) change = {0, 0, 0, path, ValueOf(before, key), ValueOf(after, key)};
    ++(change.*count);
  };
  for (const auto& [key, value] : before) {
    const auto found = after.find(key);
    if (found == after.end()) {
      note(key, &KeyChange::removed);
    } else if (found->second != value) {
      note(key, &KeyChange::changed);
    }
  }
  for (const auto& [key, value] : after) {
    if (before.count(key) == 0) note(key, &KeyChange::added);
  }
}

void Comparison::addChanged(const std::string& path, const TextMap& before, const TextMap& after, bool isMoved) {
  const auto kept = [this](const std::string& text) { return &*texts_.insert(text).first; };
  ChangedLog& log = changed_.emplace_back(ChangedLog{path, {}, isMoved});
  for (const auto& [key, value] : before) {
    const auto found = after.find(key);
    if (found != after.end() && found->second == value) continue;
    log.keys.push_back({kept(key), kept(value), found == after.end() ? nullptr : kept(found->second)});
  }
  for (const auto& [key, value] : after) {
    if (before.count(key) == 0) log.keys.push_back({kept(key), nullptr, kept(value)});
  }
}

void Comparison::addStep(const std::string& path, const TextMap& before, const TextMap& after,
                         const GroupNames& names) {
  GroupStep& step = steps_[names];
  if (step.count == 0)
    step = {names.first,
            names.second,
            0,
            path,
            ValueOf(before, kStackKey),
            ValueOf(after, kStackKey),
            ValueOf(before, kReasonKey),
            ValueOf(after, kReasonKey)};
  ++step.count;
}

bool Comparison::isMoved() const {
  return !gained_.empty() || !lost_.empty() || !failing_.empty() || !mended_.empty() || !keys_.empty();
}

std::vector<GroupMove> Comparison::groupMoves() const {
  std::map<std::string, std::vector<GroupStep>> from;
  std::map<std::string, std::vector<GroupStep>> into;
  for (const auto& [ends, step] : steps_) {
    from[step.before].push_back(step);
    into[step.after].push_back(step);
  }
  std::vector<GroupMove> moves;
  for (const auto& [after, steps] : into) {
    if (steps.size() > 1) moves.push_back({GroupMoveKind::kMerged, steps});
  }
  for (const auto& [before, steps] : from) {
    if (steps.size() > 1) {
      moves.push_back({GroupMoveKind::kSplit, steps});
    } else if (before != steps[0].after && into[steps[0].after].size() == 1) {
      moves.push_back({GroupMoveKind::kMoved, steps});
    }
  }
  for (GroupMove& move : moves) {
    std::stable_sort(move.steps.begin(), move.steps.end(),
                     [](const GroupStep& a, const GroupStep& b) { return a.count > b.count; });
  }
  std::stable_sort(moves.begin(), moves.end(),
                   [](const GroupMove& a, const GroupMove& b) { return LogsOf(a) > LogsOf(b); });
  return moves;
}
