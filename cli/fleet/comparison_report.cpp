#include "cli/fleet/comparison_report.h"

#include <algorithm>
#include <map>
#include <ostream>

#include "cli/output/json_text.h"
#include "cli/output/lines.h"
#include "cli/output/page_shell.h"
#include "cli/output/side_by_side.h"
#include "cli/output/terminal.h"

// Embedded when the program is built.
extern const std::string_view kComparisonPageScript;

namespace {

constexpr size_t kMaxListed = 20;  // logs of a list for people

std::string TitleOf(const Comparison& comparison, const ComparedRules& rules) {
  return Counted(comparison.logs(), "log") + " under " + rules.before + " and " + rules.after;
}

// Nothing where something moved.
std::string Stillness(const Comparison& comparison) {
  if (comparison.isMoved()) return "";
  return comparison.faulty().size() == comparison.logs() ? "nothing to compare" : "nothing moved";
}

// The name of a group on one line.
std::string NameOf(const std::string& group) {
  std::string name;
  for (const std::string& line : LinesOf(group)) name += (name.empty() ? "" : ", ") + line;
  return LineForPeople(name);
}

std::string TitleOf(const GroupMove& move) {
  switch (move.kind) {
    case GroupMoveKind::kMerged:
      return Counted(move.steps.size(), "group") + " merged into " + NameOf(move.steps[0].after);
    case GroupMoveKind::kSplit:
      return NameOf(move.steps[0].before) + " split into " + Counted(move.steps.size(), "group");
    default:
      return NameOf(move.steps[0].before) + " moved to " + NameOf(move.steps[0].after);
  }
}

std::string TitleOf(const GroupMove& move, const GroupStep& step) {
  std::string title = Counted(step.count, "log");
  if (move.kind == GroupMoveKind::kMerged) title += " of " + NameOf(step.before);
  if (move.kind == GroupMoveKind::kSplit) title += " to " + NameOf(step.after);
  return title + ", such as " + step.example;
}

std::string TitleOf(const KeyChange& change) {
  std::string title;
  const auto append = [&title](size_t count, const char* what) {
    if (count > 0) title += (title.empty() ? "" : ", ") + std::string(what) + " in " + Counted(count, "log");
  };
  append(change.added, "added");
  append(change.removed, "removed");
  append(change.changed, "changed");
  return title + ", such as " + change.example;
}

struct LogListing {
  const char* title;
  std::vector<std::string> lines;
};

std::vector<std::string> LinesOf(const std::vector<FaultyLog>& logs) {
  std::vector<std::string> lines;
  for (const FaultyLog& log : logs) lines.push_back(log.path + ": " + log.fault);
  return lines;
}

std::vector<LogListing> ListingsOf(const Comparison& comparison) {
  return {{"Gained a result", comparison.gained()},
          {"Lost all results", comparison.lost()},
          {"Fail under the new rules only", LinesOf(comparison.failing())},
          {"Failed under the old rules only", LinesOf(comparison.mended())},
          {"Fail under both rules", LinesOf(comparison.faulty())}};
}

// --- JSON ---

Json::Value ToJson(const GroupStep& step) {
  Json::Value object;
  object["old"] = step.before;
  object["new"] = step.after;
  object["logs"] = JsonNumber(step.count);
  object["example"] = step.example;
  object["stack"]["old"] = step.stackBefore;
  object["stack"]["new"] = step.stackAfter;
  object["reason"]["old"] = step.reasonBefore;
  object["reason"]["new"] = step.reasonAfter;
  return object;
}

Json::Value ToJson(const std::vector<FaultyLog>& logs) {
  Json::Value array(Json::arrayValue);
  for (const FaultyLog& log : logs) {
    Json::Value item;
    item["path"] = log.path;
    item["error"] = log.fault;
    array.append(item);
  }
  return array;
}

Json::Value ToJson(const KeyChange& change) {
  Json::Value object;
  object["added"] = JsonNumber(change.added);
  object["removed"] = JsonNumber(change.removed);
  object["changed"] = JsonNumber(change.changed);
  object["example"] = change.example;
  object["old"] = change.before;
  object["new"] = change.after;
  return object;
}

Json::Value ToJson(const GroupMove& move) {
  if (move.kind == GroupMoveKind::kMoved) return ToJson(move.steps[0]);
  Json::Value steps(Json::arrayValue);
  for (const GroupStep& step : move.steps) steps.append(ToJson(step));
  return steps;
}

const char* NameOf(GroupMoveKind kind) {
  return kind == GroupMoveKind::kMerged ? "merged" : kind == GroupMoveKind::kSplit ? "split" : "moved";
}

Json::Value ToJson(const AlikePair& alike) {
  Json::Value object;
  object["old"] = ToJson(alike.before);
  object["new"] = ToJson(alike.after);
  return object;
}

Json::Value ToJson(const Comparison& comparison, const ComparedRules& rules) {
  Json::Value root;
  root["old"] = rules.before;
  root["new"] = rules.after;
  root["logs"] = JsonNumber(comparison.logs());
  root["moved"] = comparison.isMoved();
  root["gained"] = JsonTexts(comparison.gained());
  root["lost"] = JsonTexts(comparison.lost());
  root["failing"] = ToJson(comparison.failing());
  root["mended"] = ToJson(comparison.mended());
  root["faulty"] = ToJson(comparison.faulty());
  root["keys"] = Json::objectValue;
  for (const auto& [key, change] : comparison.keys()) root["keys"][key] = ToJson(change);
  for (const char* kind : {"merged", "split", "moved"}) root["groups"][kind] = Json::arrayValue;
  for (const GroupMove& move : comparison.groupMoves()) root["groups"][NameOf(move.kind)].append(ToJson(move));
  if (comparison.alike()) root["alike"] = ToJson(*comparison.alike());
  return root;
}

// --- HTML ---

// Adds what the page shows of each log: its keys with their values before and after, as numbers of "texts", since many
// logs have them in common; -1 for none.
void AddChangedLogs(const Comparison& comparison, const std::vector<LogPages>& pages, Json::Value& root) {
  std::map<const std::string*, int> numbers;
  Json::Value& texts = root["texts"] = Json::arrayValue;
  const auto numberOf = [&](const std::string* text) {
    if (text == nullptr) return -1;
    const auto [known, isNew] = numbers.try_emplace(text, static_cast<int>(numbers.size()));
    if (isNew) texts.append(*text);
    return known->second;
  };
  Json::Value& logs = root["changed"] = Json::arrayValue;
  for (const ChangedLog& log : comparison.changed()) {
    Json::Value& item = logs.append(Json::Value());
    item["path"] = log.path;
    item["moved"] = log.isMoved;
    const size_t index = logs.size() - 1;
    if (index < pages.size()) item["pages"] = JsonTexts({pages[index].before, pages[index].after});
    item["keys"] = Json::arrayValue;
    for (const KeyStep& step : log.keys) {
      Json::Value& key = item["keys"].append(Json::Value(Json::arrayValue));
      for (const std::string* text : {step.key, step.before, step.after}) key.append(numberOf(text));
    }
  }
}

}  // namespace

void PrintAsText(const Comparison& comparison, const ComparedRules& rules, bool inColour, std::ostream& out) {
  const auto heading = [inColour, &out](const std::string& text) {
    out << '\n' << Painted(inColour, "1", LineForPeople(text)) << '\n';
  };
  out << LineForPeople(TitleOf(comparison, rules)) << (comparison.isMoved() ? "" : ": ") << Stillness(comparison)
      << '\n';
  for (const auto& [title, lines] : ListingsOf(comparison)) {
    if (lines.empty()) continue;
    heading(title + (": " + Counted(lines.size(), "log")));
    for (size_t i = 0; i < std::min(lines.size(), kMaxListed); ++i) out << "  " << LineForPeople(lines[i]) << '\n';
    if (lines.size() > kMaxListed) out << "  and " << lines.size() - kMaxListed << " more\n";
  }
  for (const GroupMove& move : comparison.groupMoves()) {
    heading(TitleOf(move));
    for (const GroupStep& step : move.steps) {
      out << "  " << LineForPeople(TitleOf(move, step)) << '\n';
      PrintSideBySide(SideBySide(step.stackBefore, step.stackAfter), "    ", inColour, out);
    }
  }
  for (const auto& [key, change] : comparison.keys()) {
    heading(key + ": " + TitleOf(change));
    PrintSideBySide(SideBySide(change.before, change.after), "  ", inColour, out);
  }
  if (!comparison.alike()) return;
  const AlikePair& alike = *comparison.alike();
  heading("Look-alikes under " + rules.after + "; under " + rules.before + " " +
          std::to_string(alike.before.alikeCount()) + " of " + Counted(alike.before.groups.size(), "group"));
  PrintAsText(alike.after, comparison.grouping(), out);
}

void PrintAsJson(const Comparison& comparison, const ComparedRules& rules, std::ostream& out) {
  out << JsonLine(ToJson(comparison, rules)) << '\n';
}

void PrintAsHtml(const Comparison& comparison, const ComparedRules& rules, const std::vector<LogPages>& pages,
                 std::ostream& out) {
  Json::Value root = ToJson(comparison, rules);
  root["event"] = rules.event;
  AddChangedLogs(comparison, pages, root);
  PrintPage({"kestrix diff", kReportBody, {kAlikeGroupsPageScript, kComparisonPageScript}}, root, out);
}
