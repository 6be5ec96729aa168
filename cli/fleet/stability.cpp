#include "cli/fleet/stability.h"

#include <algorithm>
#include <functional>
#include <map>

#include "cli/log_lines/volatile_tokens.h"
#include "cli/output/lines.h"

namespace {

using Reduce = std::function<std::string(const std::string& stack)>;

void NoteDifference(const std::string& a, const std::string& b, Merging& merging) {
  const std::vector<std::string> lines[] = {LinesOf(a), LinesOf(b)};
  const size_t count = std::max(lines[0].size(), lines[1].size());
  for (size_t i = 0; i < count; ++i) {
    const std::string left = i < lines[0].size() ? lines[0][i] : "";
    const std::string right = i < lines[1].size() ? lines[1][i] : "";
    if (left == right) continue;
    merging.differs = {left, right};
    return;
  }
}

Variant VariantOf(std::string what, const std::vector<Group>& groups, const Reduce& reduce) {
  std::map<std::string, std::vector<const Group*>> alike;
  size_t apart = 0;
  for (const Group& group : groups) {
    if (group.stack.empty()) {
      ++apart;
    } else {
      alike[reduce(group.stack)].push_back(&group);
    }
  }
  Variant variant{std::move(what), alike.size() + apart, {}};
  for (const auto& [text, members] : alike) {
    if (members.size() < 2) continue;
    Merging merging;
    for (const Group* member : members) {
      merging.values.push_back(member->value);
      merging.logs += member->count;
    }
    merging.examples = {members[0]->first, members[1]->first};
    if (const std::vector<std::string> frames = FramesOf(members[0]->stack); !frames.empty()) merging.frame = frames[0];
    NoteDifference(members[0]->stack, members[1]->stack, merging);
    variant.merging.push_back(std::move(merging));
  }
  std::sort(variant.merging.begin(), variant.merging.end(), [](const Merging& a, const Merging& b) {
    return a.logs != b.logs ? a.logs > b.logs : a.values < b.values;
  });
  return variant;
}

std::string TopOf(const std::string& stack, size_t count) {
  std::vector<std::string> frames = FramesOf(stack);
  frames.resize(std::min(frames.size(), count));
  std::string text;
  for (const std::string& frame : frames) text += frame + "\n";
  return text;
}

}  // namespace

std::vector<Variant> StabilityOf(const std::vector<Group>& groups) {
  std::vector<Variant> variants;
  for (const TokenKind kind : AllTokenKinds()) {
    variants.push_back(VariantOf("without " + std::string(NameOf(kind)), groups,
                                 [kind](const std::string& stack) { return Masked(stack, kind); }));
  }
  variants.push_back(VariantOf("without all of these", groups, [](std::string_view stack) {
    std::string masked;
    ForEachLine(stack, [&masked](size_t, std::string_view line) { masked += MaskedLine(std::string(line)) + "\n"; });
    return masked;
  }));
  for (const size_t count : {3U, 5U, 10U}) {
    variants.push_back(VariantOf("only the top " + std::to_string(count) + " frames", groups,
                                 [count](const std::string& stack) { return TopOf(stack, count); }));
  }
  return variants;
}
