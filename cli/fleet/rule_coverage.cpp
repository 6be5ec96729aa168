#include "cli/fleet/rule_coverage.h"

#include <algorithm>

#include "cli/explain/tell_story.h"
#include "cli/fleet/untaken_lines.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/json_tree.h"
#include "cli/rule_files/rule_model.h"
#include "cli/rule_files/rule_places.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxShapes = 20'000;  // that are kept

// What begins the fields of a row.
const std::string kRule = "rule";      // feature id, place, reason or nothing when it fired
const std::string kRefused = "id";     // feature id, reason
const std::string kUntaken = "lines";  // kind, shape, count, "<line>: <text>"
constexpr size_t kRowSize = 5;

// What differs from line to line would part one reason into many.
std::string WithoutDetail(const std::string& why) {
  return why.substr(0, std::min(why.find(" after column "), why.find("; ")));
}

// Empty when the rule fired.
std::string WhyIdle(const RunStory& run, const RuleStory& rule) {
  if (rule.selected.count > 0) return "";
  if (!run.isReadable) return "the library cannot read the log";
  if (rule.nearest.kept.empty()) return "no line was examined";
  return ValidUtf8(WithoutDetail(rule.nearest.kept[0].verdict.why));
}

}  // namespace

const std::pair<const std::string, Idleness>* RuleUse::mainReason() const {
  const auto most = std::max_element(reasons.begin(), reasons.end(),
                                     [](const auto& a, const auto& b) { return a.second.logs < b.second.logs; });
  return most == reasons.end() ? nullptr : &*most;
}

Fields TellRuleUse(const LogRun& run, bool checkPath) {
  if (!run.log.error.empty()) throw InputError(run.log.path, run.log.error);
  const LogFile file(run.log.path);
  const Story story = TellStory({.logName = run.log.path,
                                 .configDir = run.config,
                                 .eventType = run.log.event,
                                 .hasPathTests = checkPath,
                                 .as = run.log.as,
                                 .logFile = file.path()},
                                KeptRules(run.config));
  Fields rows;
  const auto append = [&rows](Fields row) {
    row.resize(kRowSize);
    rows.insert(rows.end(), row.begin(), row.end());
  };
  for (const RunStory& told : story.runs) {
    for (const RuleStory& rule : told.rules) append({kRule, told.featureId, TextOf(rule.place), WhyIdle(told, rule)});
  }
  for (const EntryStory& entry : story.entries) {
    for (const IdStory& id : entry.ids) {
      if (!id.isTaken) append({kRefused, id.id, ValidUtf8(id.why), ""});
    }
  }
  for (const auto& [shape, lines] : UntakenLinesOf(story)) {
    append({kUntaken, shape.kind, shape.text, std::to_string(lines.count),
            std::to_string(lines.firstNumber) + ": " + ValidUtf8(lines.firstText)});
  }
  return rows;
}

bool IsAnyRuleUsed(const Fields& told) {
  for (size_t i = 0; i + kRowSize <= told.size(); i += kRowSize) {
    if (told[i] == kRule && told[i + 3].empty()) return true;
  }
  return false;
}

RuleUseTable::RuleUseTable(const std::string& configDir, const std::string& eventType) {
  const JsonFile matchFile(MatchRuleFile(configDir));
  const JsonFile assembleFile(AssembleRuleFile(configDir));
  const RuleModel model(matchFile, assembleFile);
  const RulePlaces places(model);
  for (const PlacedEntry& entry : model.entries) {
    for (const PlacedId& id : entry.ids) {
      if (!eventType.empty() && id.eventType != eventType) continue;
      for (const PlacedRule& rule : entry.rules) {
        rules_.push_back({id.eventType, id.id, rule.record.name, TextOf(places.inMatchFile(rule.span)), 0, {}});
      }
    }
  }
}

void RuleUseTable::add(const LogEntry& log, const Fields& told) {
  std::map<std::pair<std::string, std::string>, std::string> whyByRule;
  std::map<std::string, std::string> whyById;
  for (size_t i = 0; i + kRowSize <= told.size(); i += kRowSize) {
    const std::string& what = told[i + 1];
    if (told[i] == kRule) {
      whyByRule[{what, told[i + 2]}] = told[i + 3];
    } else if (told[i] == kRefused) {
      whyById[what] = told[i + 2];
    } else {
      const LineShape shape{what, told[i + 2]};
      if (untaken_.size() >= kMaxShapes && untaken_.count(shape) == 0) continue;
      UntakenShape& lines = untaken_[shape];
      if (lines.logs++ == 0) lines = {shape, 0, 1, log.path + ":" + told[i + 4]};
      lines.lines += std::stoul(told[i + 3]);
    }
  }
  for (RuleUse& rule : rules_) {
    if (rule.eventType != log.event) continue;
    const auto byRule = whyByRule.find({rule.featureId, rule.place});
    if (byRule != whyByRule.end() && byRule->second.empty()) {
      ++rule.fired;
      continue;
    }
    const auto byId = whyById.find(rule.featureId);
    Idleness& idleness = rule.reasons[byRule != whyByRule.end() ? byRule->second
                                      : byId != whyById.end()   ? byId->second
                                                                : "the library does not load it, or has no templates "
                                                                  "for its feature"];
    if (idleness.logs++ == 0) idleness.example = log.path;
  }
}

std::vector<UntakenShape> RuleUseTable::untaken() const {
  std::vector<UntakenShape> shapes;
  for (const auto& [shape, lines] : untaken_) shapes.push_back(lines);
  std::stable_sort(shapes.begin(), shapes.end(),
                   [](const UntakenShape& a, const UntakenShape& b) { return a.lines > b.lines; });
  return shapes;
}
