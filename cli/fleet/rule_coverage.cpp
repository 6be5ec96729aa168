#include "cli/fleet/rule_coverage.h"

#include <algorithm>
#include <memory>
#include <set>

#include "cli/check/wrong_type.h"
#include "cli/explain/make_story.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/utf8.h"
#include "rules/rule_syntax.h"
#include "util/byte_source.h"

namespace {

constexpr size_t kMaxShapes = 20'000;  // that are kept

// What begins the fields of a row.
const std::string kFired = "fired";    // feature id, place, name
const std::string kIdle = "idle";      // feature id, place, name, reason
const std::string kRefused = "id";     // feature id, reason
const std::string kUntaken = "lines";  // kind, shape, count, "<line>: <text>"
constexpr size_t kRowSize = 5;

const std::string kNotLoaded = "the library does not load it, or has no templates for its feature";

void Append(Fields row, Fields& rows) {
  row.resize(kRowSize);
  rows.insert(rows.end(), row.begin(), row.end());
}

// What differs from line to line would part one reason into many.
std::string WithoutDetail(const std::string& why) {
  return why.substr(0, std::min(why.find(" after column "), why.find("; ")));
}

std::string WhyIdle(const RunStory& run, const RuleStory& rule) {
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

Fields ReportRuleUse(const LogRun& run, const RulePlaces& places) {
  if (!run.log.error.empty()) throw InputError(run.log.path, run.log.error);
  const LogFile file(run.log.path);
  const AnalyzedLog log = file.at(run.log.as);
  UseReporter reporter(log, run.log.event, places);
  AnalyzeOrThrow(log, {run.config, WrongTypeInRules}, run.log.event, &reporter);
  const LogUse& use = reporter.use();
  Fields rows;
  for (const RuleKey& rule : use.fired) Append({kFired, rule.featureId, rule.place, rule.name}, rows);
  const std::unique_ptr<ByteSource> source = use.logPath.empty() ? nullptr : OpenLog(use.logPath);
  if (source == nullptr) return rows;
  LineReader reader(*source);
  for (const auto& [shape, lines] : UntakenLinesOf(reader, use)) {
    Append({kUntaken, shape.kind, shape.text, std::to_string(lines.count),
            std::to_string(lines.firstNumber) + ": " + ValidUtf8(lines.firstText)},
           rows);
  }
  return rows;
}

bool IsAnyRuleUsed(const Fields& report) { return !report.empty() && report.front() == kFired; }

Fields ReportIdleRules(const LogRun& run, bool checkPath) {
  const LogFile file(run.log.path);
  const Story story = MakeStory({.logName = run.log.path,
                                 .configDir = run.config,
                                 .eventType = run.log.event,
                                 .hasPathTests = checkPath,
                                 .as = run.log.as,
                                 .logFile = file.path()},
                                KeptRules(run.config));
  Fields rows;
  for (const RunStory& runStory : story.runs) {
    for (const RuleStory& rule : runStory.rules) {
      if (rule.selected.count > 0) {
        Append({kFired, runStory.featureId, TextOf(rule.place), rule.name}, rows);
      } else {
        Append({kIdle, runStory.featureId, TextOf(rule.place), rule.name, WhyIdle(runStory, rule)}, rows);
      }
    }
  }
  for (const EntryStory& entry : story.entries) {
    for (const IdStory& id : entry.ids) {
      if (!id.isTaken) Append({kRefused, id.id, ValidUtf8(id.why)}, rows);
    }
  }
  return rows;
}

RuleUseTable::RuleUseTable(const std::string& configDir, const std::string& eventType)
    : matchFile_(MatchRuleFile(configDir)),
      assembleFile_(AssembleRuleFile(configDir)),
      model_(matchFile_, assembleFile_),
      places_(model_) {
  for (const PlacedEntry& entry : model_.entries) {
    for (const PlacedId& id : entry.ids) {
      if (!eventType.empty() && id.eventType != eventType) continue;
      for (const PlacedRule& rule : entry.rules) {
        const std::string place = TextOf(places_.inMatchFile(rule.span));
        rules_.push_back({.eventType = id.eventType, .key = {id.id, place, rule.record.name}});
      }
    }
  }
}

void RuleUseTable::add(const LogEntry& log, const Fields& report) {
  std::set<RuleKey> fired;
  for (size_t i = 0; i + kRowSize <= report.size(); i += kRowSize) {
    if (report[i] == kFired) fired.insert({report[i + 1], report[i + 2], report[i + 3]});
  }
  addUntaken(log, untakenIn(log, report));
  for (RuleUse& rule : rules_) {
    if (rule.eventType == log.event) ++(fired.contains(rule.key) ? rule.fired : rule.idle);
  }
}

RuleUseTable::ShapeMap RuleUseTable::untakenIn(const LogEntry& log, const Fields& report) {
  ShapeMap shapes;
  for (size_t i = 0; i + kRowSize <= report.size(); i += kRowSize) {
    if (report[i] == kFired) continue;
    const LineShape shape{report[i + 1], report[i + 2]};
    shapes[shape] = {shape, std::stoul(report[i + 3]), 1, log.path + ":" + report[i + 4]};
  }
  return shapes;
}

void RuleUseTable::count(const ShapeMap& added, ShapeMap& shapes) {
  for (const auto& [shape, lines] : added) {
    if (shapes.size() >= kMaxShapes && !shapes.contains(shape)) continue;
    const auto [known, isNew] = shapes.try_emplace(shape, lines);
    if (isNew) continue;
    known->second.lines += lines.lines;
    known->second.logs += lines.logs;
  }
}

// Of the lines of one shape that several event types leave, those count that the most thorough one does.
void RuleUseTable::addUntaken(const LogEntry& log, ShapeMap untaken) {
  if (log.path == last_.path && log.event != last_.event) {
    std::erase_if(lastUntaken_, [&untaken](const auto& shape) { return !untaken.contains(shape.first); });
    for (auto& [shape, lines] : lastUntaken_) lines.lines = std::min(lines.lines, untaken[shape].lines);
  } else {
    count(lastUntaken_, untaken_);
    lastUntaken_ = std::move(untaken);
  }
  last_ = log;
}

void RuleUseTable::addReasons(const LogEntry& log, const Fields& report) {
  std::set<RuleKey> fired;
  std::map<RuleKey, std::string> whyByRule;
  std::map<std::string, std::string> whyById;
  for (size_t i = 0; i + kRowSize <= report.size(); i += kRowSize) {
    if (report[i] == kFired) fired.insert({report[i + 1], report[i + 2], report[i + 3]});
    if (report[i] == kIdle) whyByRule[{report[i + 1], report[i + 2], report[i + 3]}] = report[i + 4];
    if (report[i] == kRefused) whyById[report[i + 1]] = report[i + 2];
  }
  for (RuleUse& rule : rules_) {
    if (rule.eventType != log.event || fired.contains(rule.key)) continue;
    const auto byRule = whyByRule.find(rule.key);
    const auto byId = whyById.find(rule.key.featureId);
    Idleness& idleness = rule.reasons[byRule != whyByRule.end() ? byRule->second
                                      : byId != whyById.end()   ? byId->second
                                                                : kNotLoaded];
    if (idleness.logs++ == 0) idleness.example = log.path;
    ++rule.examined;
  }
}

std::vector<UntakenShape> RuleUseTable::untaken() const {
  ShapeMap all = untaken_;
  count(lastUntaken_, all);
  std::vector<UntakenShape> shapes;
  for (const auto& [shape, lines] : all) shapes.push_back(lines);
  std::stable_sort(shapes.begin(), shapes.end(),
                   [](const UntakenShape& a, const UntakenShape& b) { return a.lines > b.lines; });
  return shapes;
}
