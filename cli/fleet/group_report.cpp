#include "cli/fleet/group_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <iomanip>
#include <ostream>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/fleet/alike_groups.h"
#include "cli/fleet/group_text.h"
#include "cli/fleet/skip_suggestions.h"
#include "cli/fleet/stability.h"
#include "cli/library/no_fingerprint.h"
#include "cli/output/json_text.h"
#include "cli/output/page_shell.h"
#include "cli/output/terminal.h"

// Embedded when the program is built.
extern const std::string_view kGroupsPageScript;

namespace {

constexpr size_t kMaxMergings = 3;     // that are shown of a variant
constexpr size_t kMaxCompared = 5000;  // groups, the largest, that are held against each other, or are on a page

double ShareOf(size_t count, size_t all) {
  return all == 0 ? 0 : static_cast<double>(count) / static_cast<double>(all);
}

std::string Percent(size_t count, size_t all) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f%%", 100 * ShareOf(count, all));
  return text.data();
}

// --- Text ---

void PrintMerging(const Variant& variant, const Merging& merging, std::ostream& out) {
  const auto& [left, right] = merging.differs;
  out << "\n"
      << variant.what << ", " << Counted(merging.values.size(), "group") << " of " << Counted(merging.logs, "log")
      << " would be one, such as " << LineForPeople(merging.examples.first) << " and "
      << LineForPeople(merging.examples.second) << ":\n";
  if (left != merging.frame && right != merging.frame) out << "    " << LineForPeople(merging.frame) << "\n    ...\n";
  out << "    " << LineForPeople(left) << "\n    " << LineForPeople(right) << '\n';
}

void PrintStability(const std::vector<Group>& groups, std::ostream& out) {
  const std::vector<Variant> variants = StabilityOf(groups);
  out << "\n" << groups.size() << " groups as they are, and what there would be\n";
  for (const Variant& variant : variants) {
    out << std::setw(8) << variant.groupCount << "  " << variant.what << '\n';
  }
  // What one mask merges is merged by "all of these" too: once is enough.
  std::set<std::vector<std::string>> shown;
  for (const Variant& variant : variants) {
    size_t count = 0;
    for (const Merging& merging : variant.merging) {
      if (shown.insert(merging.values).second && ++count <= kMaxMergings) PrintMerging(variant, merging, out);
    }
    if (count > kMaxMergings) out << "    and " << count - kMaxMergings << " more\n";
  }
}

// --- Over time ---

enum class Change { kNew, kGrowing, kOther, kGone };

constexpr std::string_view kChangeNames[] = {"new", "growing", "not growing", "gone"};

// A group grows when its share of the logs does: one run may have more of them than the other.
Change ChangeOf(const Group& group, const GroupReport& report) {
  if (group.before == 0) return Change::kNew;
  if (group.count == 0) return Change::kGone;
  const bool isGrowing = ShareOf(group.count, report.grouped) > ShareOf(group.before, report.groupedBefore);
  return isGrowing ? Change::kGrowing : Change::kOther;
}

// By kind of change, then the largest first.
std::string ByChange(const Group& group, const GroupReport& report) {
  const double change = ShareOf(group.count, report.grouped) - ShareOf(group.before, report.groupedBefore);
  return std::to_string(static_cast<int>(ChangeOf(group, report))) +
         DescendingKey(static_cast<size_t>(std::abs(change) * 1e12)) + group.value;
}

void PrintGroup(const Group& group, GroupReport& report, std::ostream& out) {
  out << std::setw(8) << group.count << std::setw(8) << Percent(group.count, report.grouped) << "  "
      << TitleOf(group, report.grouping) << '\n';
  const std::string indent(18, ' ');
  for (const std::string& frame : FramesBelow(group, report.grouping)) out << indent << LineForPeople(frame) << '\n';
  if (const std::string reason = ReasonOf(group, report.grouping); !reason.empty()) {
    out << indent << "reason: " << reason << '\n';
  }
  if (report.isSince) {
    out << indent << "before: " << group.before << " (" << Percent(group.before, report.groupedBefore) << ")\n";
  }
  out << indent << "first: " << LineForPeople(group.first) << '\n';
  if (group.first != group.last) out << indent << "last: " << LineForPeople(group.last) << '\n';
}

// --- JSON ---

Json::Value ToJson(const Variant& variant) {
  Json::Value object;
  object["what"] = variant.what;
  object["groups"] = JsonNumber(variant.groupCount);
  object["merging"] = Json::arrayValue;
  for (const Merging& merging : variant.merging) {
    Json::Value item;
    item["values"] = JsonTexts(merging.values);
    item["logs"] = JsonNumber(merging.logs);
    item["frame"] = merging.frame;
    item["examples"] = JsonTexts({merging.examples.first, merging.examples.second});
    item["differs"] = JsonTexts({merging.differs.first, merging.differs.second});
    object["merging"].append(item);
  }
  return object;
}

Json::Value ToJson(const Group& group, GroupReport& report) {
  Json::Value item;
  item["value"] = group.value;
  item["count"] = JsonNumber(group.count);
  item["share"] = ShareOf(group.count, report.grouped);
  item["frames"] = JsonTexts(FramesBelow(group, report.grouping));
  if (report.isSince) {
    item["change"] = std::string(kChangeNames[static_cast<int>(ChangeOf(group, report))]);
    item["before"] = JsonNumber(group.before);
    item["shareBefore"] = ShareOf(group.before, report.groupedBefore);
  }
  item["reason"] = group.reason;
  item["first"] = group.first;
  item["last"] = group.last;
  return item;
}

Json::Value StabilityToJson(const std::vector<Group>& groups) {
  Json::Value variants(Json::arrayValue);
  for (const Variant& variant : StabilityOf(groups)) variants.append(ToJson(variant));
  return variants;
}

Json::Value TotalsToJson(const GroupReport& report) {
  Json::Value root;
  root["by"] = report.grouping.name();
  root["logs"] = JsonNumber(report.grouped);
  root["without"] = JsonNumber(report.without);
  root["failed"] = JsonNumber(report.failed);
  root["emptyStacks"] = JsonNumber(report.empty);
  if (report.isSince) root["logsBefore"] = JsonNumber(report.groupedBefore);
  return root;
}

// The links to the explanations of the groups' examples, in their order.
std::vector<std::string> Explain(const std::vector<Group>& groups, const GroupReport& report) {
  std::vector<LogRun> runs;
  for (const Group& group : groups) {
    for (const auto& [path, event] : group.examples) runs.push_back({{path, event, "", ""}, report.configDir});
  }
  return WriteExplanations(runs, report.explanations);
}

// How many groups are held against each other when all are printed.
size_t KeptGroups(const GroupReport& report) { return report.stability || report.like ? kMaxCompared : 0; }

// Calls `print` for each group, in order, and returns the first `kept` of them.
std::vector<Group> ForEachGroup(GroupReport& report, size_t kept, size_t& count,
                                const std::function<void(const Group& group)>& print) {
  std::vector<Group> largest;
  const auto keyOf = [&](const Group& group) { return report.isSince ? ByChange(group, report) : BySize(group); };
  report.table.forEach(keyOf, [&](Group& group) {
    ++count;
    print(group);
    if (count <= kept) largest.push_back(std::move(group));
  });
  return largest;
}

// What the page shows of a group; its examples take the next links.
Json::Value ToPageJson(const Group& group, GroupReport& report, std::vector<std::string>::const_iterator& link,
                       const std::vector<std::string>& links) {
  Json::Value item = ToJson(group, report);
  item["stack"] = group.stack;
  item["examples"] = Json::arrayValue;
  for (const auto& [path, event] : group.examples) {
    Json::Value& example = item["examples"].append(Json::Value());
    example["path"] = path;
    example["event"] = event;
    if (link != links.end()) example["page"] = *link++;
  }
  return item;
}

}  // namespace

size_t PrintSkipSuggestions(GroupReport& report, std::ostream& out) {
  size_t count = 0;
  const std::vector<Group> largest = ForEachGroup(report, kMaxCompared, count, [](const Group&) {});
  for (const SkipSuggestion& skip : SuggestSkips(largest, report.grouping)) {
    out << LineForPeople(skip.expression) << "  # heads " << Counted(skip.groups, "group") << " of "
        << Counted(skip.logs, "log") << "; ";
    if (skip.into > 0) {
      out << "without it " << skip.merged << " groups would be " << skip.into;
    } else {
      out << "without it no groups would be one";
    }
    out << ", such as " << LineForPeople(skip.examples.first) << " and " << LineForPeople(skip.examples.second) << '\n';
  }
  return count;
}

size_t PrintGroupsAsText(GroupReport& report, std::ostream& out) {
  size_t count = 0;
  std::array<size_t, std::size(kChangeNames)> changes = {};
  const auto print = [&](const Group& group) {
    const auto change = static_cast<size_t>(ChangeOf(group, report));
    if (report.isSince && changes[change]++ == 0) out << "--- " << kChangeNames[change] << '\n';
    PrintGroup(group, report, out);
  };
  std::vector<Group> largest = ForEachGroup(report, KeptGroups(report), count, print);
  out << Counted(count, "group") << " of " << Counted(report.grouped, "log") << "; " << report.without << " without "
      << LineForPeople(report.grouping.name()) << ", " << report.failed << " failed";
  if (report.empty > 0) {
    out << ", " << report.empty << " with an empty stack, whose FINGERPRINT \"" << kNoFingerprint << "\" is none";
  }
  for (size_t i = 0; i < changes.size() && report.isSince; ++i) {
    out << (i == 0 ? "; " : ", ") << changes[i] << ' ' << kChangeNames[i];
  }
  out << '\n';
  if (report.stability) PrintStability(largest, out);
  if (report.like) PrintAsText(FindAlike(std::move(largest), report.grouping), report.grouping, out << '\n');
  return count;
}

// The groups are printed one by one: all of them together may not fit into memory.
size_t PrintGroupsAsJson(GroupReport& report, std::ostream& out) {
  size_t count = 0;
  out << "{\"groups\":[";
  std::vector<Group> largest = ForEachGroup(report, KeptGroups(report), count, [&](const Group& group) {
    out << (count > 1 ? "," : "") << JsonLine(ToJson(group, report));
  });
  Json::Value rest = TotalsToJson(report);
  if (report.stability) rest["stability"] = StabilityToJson(largest);
  if (report.like) rest["alike"] = ToJson(FindAlike(std::move(largest), report.grouping));
  out << "]," << JsonLine(rest).substr(1) << '\n';
  return count;
}

// Group by group, as they are many and large.
size_t PrintGroupsAsHtml(GroupReport& report, std::ostream& out) {
  size_t count = 0;
  std::vector<Group> largest = ForEachGroup(report, kMaxCompared, count, [](const Group&) {});
  std::vector<std::string> links;
  if (!report.explanations.folder.empty()) links = Explain(largest, report);
  Json::Value rest = TotalsToJson(report);
  rest["nameLines"] = JsonNumber(report.grouping.nameLines());
  rest["groupCount"] = JsonNumber(count);
  if (report.grouping.isByFingerprint() && !report.isSince) rest["stability"] = StabilityToJson(largest);
  const auto data = [&](const std::function<void(std::string_view json)>& write) {
    auto link = links.cbegin();
    write("{\"groups\":[");
    for (const Group& group : largest) {
      write((&group == largest.data() ? "" : ",") + JsonLine(ToPageJson(group, report, link, links)));
    }
    if (report.like) rest["alike"] = ToJson(FindAlike(std::move(largest), report.grouping));
    write("]," + JsonLine(rest).substr(1));
  };
  PrintPage({"kestrix groups", kReportBody, {kAlikeGroupsPageScript, kGroupsPageScript}}, data, out);
  return count;
}
