#include "cli/fleet/group_table.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <tuple>

#include "cli/fleet/fields.h"
#include "cli/output/lines.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"

namespace {

constexpr size_t kMaxHeldBytes = 16 * 1024 * 1024;

size_t SizeOf(const Group& group) {
  size_t size = sizeof(Group) + 128 + 2 * group.value.size() + group.first.size() + group.last.size() +
                group.stack.size() + group.reason.size();
  for (const auto& [path, event] : group.examples) size += sizeof group.examples[0] + path.size() + event.size();
  return size;
}

std::string EncodedGroup(const Group& group) {
  const std::string counts[] = {std::to_string(group.count), std::to_string(group.before)};
  FieldViews fields = {group.value, counts[0], counts[1], group.first, group.last, group.stack, group.reason};
  for (const auto& [path, event] : group.examples) {
    fields.push_back(path);
    fields.push_back(event);
  }
  std::string text;
  AppendEncoded(fields, text);
  return text;
}

size_t NumberIn(std::string_view text) {
  size_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Into one that is used again and again: hundreds of thousands come.
void DecodeGroup(std::string_view text, Group& group) {
  FieldViews fields;
  DecodeViews(text, fields);
  group.value = fields[0];
  group.count = NumberIn(fields[1]);
  group.before = NumberIn(fields[2]);
  group.first = fields[3];
  group.last = fields[4];
  group.stack = fields[5];
  group.reason = fields[6];
  group.examples.clear();
  group.examples.reserve((fields.size() - 7) / 2);
  for (size_t i = 7; i < fields.size(); i += 2) group.examples.emplace_back(fields[i], fields[i + 1]);
}

// The logs of an earlier run tell of a group only where it has no other.
bool TellsBefore(const Group& a, const Group& b) {
  const auto rank = [](const Group& group) { return std::tie(group.first, group.stack, group.reason); };
  const bool isGone[] = {a.count == 0, b.count == 0};
  return isGone[0] != isGone[1] ? isGone[1] : rank(a) < rank(b);
}

void Merge(Group& into, Group& other, size_t maxExamples) {
  if (TellsBefore(other, into)) {
    std::swap(into, other);
  }
  if ((into.count == 0) == (other.count == 0)) {
    into.last = std::max(into.last, other.last);
    into.examples.insert(into.examples.end(), other.examples.begin(), other.examples.end());
    std::sort(into.examples.begin(), into.examples.end());
    into.examples.resize(std::min(into.examples.size(), maxExamples));
  }
  into.count += other.count;
  into.before += other.before;
}

std::string FirstFrames(std::string_view stack, size_t most) {
  std::string text;
  for (size_t count = 0; !stack.empty() && count < most;) {
    const std::string line(TakeLine(stack));
    if (StackUtil::HasExceptionList(line)) continue;
    text += (count++ == 0 ? "" : "\n") + line;
  }
  return text;
}

}  // namespace

std::vector<std::string> FramesOf(std::string_view stack) {
  std::vector<std::string> frames = LinesOf(stack);
  std::erase_if(frames, [](const std::string& line) { return StackUtil::HasExceptionList(line); });
  return frames;
}

std::string DescendingKey(size_t number) {
  std::string key;
  for (int shift = 56; shift >= 0; shift -= 8) key += static_cast<char>(~(uint64_t{number} >> shift) & 0xff);
  return key;
}

std::string BySize(const Group& group) { return DescendingKey(group.count) + group.value; }

// Puts a log in its place among those of the group, before it is counted.
void GroupTable::note(Group& group, std::string path, const ResultLine& line) {
  const bool isFirst = group.first.empty() || path <= group.first;
  const bool isExample =
      group.examples.size() < maxExamples_ || (maxExamples_ > 0 && path < group.examples.back().first);
  if (!isFirst && !isExample && path <= group.last) return;
  heldBytes_ -= SizeOf(group);
  if (isFirst) {
    std::string stack = maxFrames_ > 0 ? line.result(kStackKey).value_or("") : "";
    if (maxFrames_ != kWholeStack) stack = FirstFrames(stack, maxFrames_);
    std::string reason = line.result(kReasonKey).value_or("");
    if (path != group.first || std::tie(stack, reason) < std::tie(group.stack, group.reason)) {
      group.first = path;
      group.stack = std::move(stack);
      group.reason = std::move(reason);
    }
  }
  if (isExample) {
    std::pair<std::string, std::string> example(path, line.event());
    if (group.examples.size() == maxExamples_) group.examples.pop_back();
    group.examples.reserve(group.examples.size() + 1);  // no more: most groups are of few logs, and there are many
    group.examples.insert(std::upper_bound(group.examples.begin(), group.examples.end(), example), std::move(example));
  }
  if (group.last < path) group.last = std::move(path);
  heldBytes_ += SizeOf(group);
}

Group& GroupTable::groupOf(const std::string& value) {
  if (heldBytes_ > kMaxHeldBytes) spill();
  const auto [place, isNew] = groups_.try_emplace(value);
  if (isNew) {
    place->second.value = value;
    heldBytes_ += SizeOf(place->second);
  }
  return place->second;
}

void GroupTable::add(const std::string& value, const ResultLine& line) {
  Group& group = groupOf(value);
  if (group.count == 0 && group.before > 0) {
    heldBytes_ -= SizeOf(group);
    group = {value, 0, group.before, "", "", "", "", {}};
    heldBytes_ += SizeOf(group);
  }
  note(group, line.path(), line);
  ++group.count;
}

void GroupTable::addBefore(const std::string& value, const ResultLine& line) {
  Group& group = groupOf(value);
  if (group.count == 0) note(group, line.path(), line);
  ++group.before;
}

void GroupTable::spill() {
  for (const auto& [value, group] : groups_) spilled_.add(value, EncodedGroup(group));
  groups_.clear();
  heldBytes_ = 0;
}

void GroupTable::forEach(const std::function<std::string(const Group& group)>& keyOf,
                         const std::function<void(Group& group)>& visit) {
  if (spilled_.empty()) {
    std::vector<std::pair<std::string, Group*>> order;
    for (auto& [value, group] : groups_) order.emplace_back(keyOf(group), &group);
    std::sort(order.begin(), order.end());
    for (const auto& [key, group] : order) visit(*group);
    return;
  }
  spill();
  ExternalSort ordered;
  Group merged;
  Group part;
  const auto pass = [&] {
    if (merged.count + merged.before > 0) ordered.add(keyOf(merged), EncodedGroup(merged));
  };
  spilled_.forEach([&](std::string_view value, std::string_view text) {
    DecodeGroup(text, part);
    if (merged.count + merged.before > 0 && merged.value == value) return Merge(merged, part, maxExamples_);
    pass();
    std::swap(merged, part);
  });
  pass();
  ordered.forEach([&](std::string_view, std::string_view text) {
    DecodeGroup(text, merged);
    visit(merged);
  });
}
