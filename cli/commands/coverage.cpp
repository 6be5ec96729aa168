#include <algorithm>
#include <deque>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/log_sample.h"
#include "cli/fleet/replay.h"
#include "cli/fleet/rule_coverage.h"
#include "cli/library/input.h"
#include "cli/output/json_text.h"
#include "cli/output/output_file.h"
#include "cli/output/page_shell.h"
#include "cli/output/terminal.h"

// Embedded when the program is built.
extern const std::string_view kCoveragePageScript;

namespace {

struct Options {
  ReplayOptions replay;
  std::string configDir;
  std::string format = "text";
  std::string file;  // empty: standard output
};

constexpr size_t kMaxShapes = 20;                 // of lines, that people are shown
constexpr size_t kMaxExamined = 16;               // logs of each event type that are asked why rules did not fire...
constexpr size_t kMaxExaminedBytes = 256 * 1024;  // ...and bytes of all of them, one of each type aside

constexpr char kExample[] =
    "Example:\n"
    "  kestrix coverage --config rules --event java_crash logs\n"
    "  kestrix coverage --config rules --event java_crash logs --format html -o coverage.html\n"
    "\n"
    "Exit status: 0 every rule fired, 1 a rule never fired or a log failed, 2 wrong usage or rule files that cannot be "
    "read.";

struct Counts {
  size_t logs = 0;
  size_t failed = 0;
  size_t without = 0;  // a rule that fires, where event types were tried
};

bool IsIdle(const RuleUse& rule) { return rule.fired == 0; }

std::string NameOf(const RuleUse& rule) {
  return LineForPeople(rule.key.featureId + " " + rule.key.name + " (" + rule.key.place + ")");
}

// "7 logs", where not all were examined "7 of 16 logs examined".
std::string LogsOf(size_t logs, const RuleUse& rule) {
  if (rule.examined == rule.idle) return Counted(logs, "log");
  return std::to_string(logs) + " of " + Counted(rule.examined, "log") + " examined";
}

void PrintAsText(const RuleUseTable& table, const Counts& counts, bool inColour, std::ostream& out) {
  const auto heading = [&](const std::string& text) { out << '\n' << Painted(inColour, "1", text) << '\n'; };
  const std::vector<RuleUse>& rules = table.rules();
  const auto idle = std::count_if(rules.begin(), rules.end(), IsIdle);
  out << Counted(counts.logs, "log") << ", " << counts.failed << " failed; " << Counted(rules.size(), "rule") << ", "
      << idle << " never fired";
  if (counts.without > 0) out << "; " << Counted(counts.without, "log") << " in which none fired";
  out << '\n';
  if (static_cast<size_t>(idle) < rules.size()) heading("Logs in which a rule fired");
  for (const RuleUse& rule : rules) {
    if (!IsIdle(rule)) out << std::setw(8) << rule.fired << "  " << NameOf(rule) << '\n';
  }
  if (idle > 0) heading("Never fired");
  for (const RuleUse& rule : rules) {
    if (!IsIdle(rule)) continue;
    out << "  " << NameOf(rule) << '\n';
    if (const auto* reason = rule.mainReason()) {
      out << "    in " << LogsOf(reason->second.logs, rule) << ", such as " << LineForPeople(reason->second.example)
          << ": " << LineForPeople(reason->first) << '\n';
    }
  }
  const std::vector<UntakenShape> untaken = table.untaken();
  if (!untaken.empty()) heading("Lines that went into no result, by shape");
  for (size_t i = 0; i < std::min(untaken.size(), kMaxShapes); ++i) {
    const UntakenShape& lines = untaken[i];
    out << std::setw(8) << lines.lines << "  " << LineForPeople(lines.shape.text) << "\n          " << lines.shape.kind
        << ", in " << Counted(lines.logs, "log") << ", such as " << LineForPeople(lines.example) << '\n';
  }
  if (untaken.size() > kMaxShapes) out << "  and " << Counted(untaken.size() - kMaxShapes, "more shape") << '\n';
}

Json::Value ToJson(const RuleUseTable& table, const Counts& counts) {
  Json::Value root;
  root["logs"] = JsonNumber(counts.logs);
  root["failed"] = JsonNumber(counts.failed);
  root["without"] = JsonNumber(counts.without);
  root["rules"] = Json::arrayValue;
  for (const RuleUse& rule : table.rules()) {
    Json::Value item;
    item["event"] = rule.eventType;
    item["feature"] = rule.key.featureId;
    item["rule"] = rule.key.name;
    item["place"] = rule.key.place;
    item["fired"] = JsonNumber(rule.fired);
    if (const auto* reason = rule.mainReason()) {
      item["idle"]["reason"] = reason->first;
      item["idle"]["logs"] = JsonNumber(reason->second.logs);
      item["idle"]["examined"] = JsonNumber(rule.examined);
      item["idle"]["example"] = reason->second.example;
    }
    root["rules"].append(item);
  }
  root["untaken"] = Json::arrayValue;
  for (const UntakenShape& lines : table.untaken()) {
    Json::Value item;
    item["kind"] = lines.shape.kind;
    item["shape"] = lines.shape.text;
    item["lines"] = JsonNumber(lines.lines);
    item["logs"] = JsonNumber(lines.logs);
    item["example"] = lines.example;
    root["untaken"].append(item);
  }
  return root;
}

void Print(const RuleUseTable& table, const Counts& counts, const Options& options, bool inColour, std::ostream& out) {
  if (options.format == "json") {
    out << JsonLine(ToJson(table, counts)) << '\n';
  } else if (options.format == "html") {
    PrintPage({"kestrix coverage", kReportBody, {kCoveragePageScript}}, ToJson(table, counts), out);
  } else {
    PrintAsText(table, counts, inColour, out);
  }
}

// Takes in what the workers report of the logs, one after the other.
class Collector {
 public:
  explicit Collector(const Options& options)
      : configDir_(options.configDir), askedEvent_(options.replay.logs.event), table_(configDir_, askedEvent_) {}

  void add(const LogEntry& log, const Reply& reply) {
    // The log may have been handed over under another event type just before.
    if (log.path != last_.path || log.event == last_.event) ++counts_.logs;
    last_ = log;
    std::string fault = reply.fault;
    if (fault.empty() && !askedEvent_.empty() && log.event != askedEvent_) {
      fault = "its event type has other rules; without --event, those of all are counted";
    }
    if (!fault.empty()) {
      ++counts_.failed;
      std::cerr << "kestrix: " << LineForPeople(log.path + ": " + fault) << '\n';
      return;
    }
    if (log.event.empty()) ++counts_.without;
    table_.add(log, reply.fields);
    if (!log.event.empty()) samples_.try_emplace(log.event, kMaxExamined).first->second.add(log);
  }

  // Asks for some of the logs why rules did not fire in them.
  void addReasons(const WorkerOptions& workers, bool checkPath) {
    std::deque<LogEntry> logs;
    for (const auto& [event, sample] : samples_) {
      const std::vector<LogEntry> some = sample.within(kMaxExaminedBytes / samples_.size());
      logs.insert(logs.end(), some.begin(), some.end());
    }
    const auto source = [&](LogRun& run) {
      if (logs.empty()) return WorkerPool::Next::kEnd;
      run = {std::move(logs.front()), configDir_};
      logs.pop_front();
      return WorkerPool::Next::kRequest;
    };
    RunInWorkers(
        workers, source, [checkPath](const LogRun& run) { return ReportIdleRules(run, checkPath); },
        [this](const LogRun& run, const Reply& reply) {
          if (reply.fault.empty()) table_.addReasons(run.log, reply.fields);
        });
  }

  const RuleUseTable& table() const { return table_; }
  const Counts& counts() const { return counts_; }

 private:
  const std::string configDir_;
  const std::string askedEvent_;
  RuleUseTable table_;
  std::map<std::string, LogSample> samples_;  // by event type
  Counts counts_;
  LogEntry last_;
};

ExitStatus Run(const Options& options) {
  CheckRuleFiles(options.configDir);
  CheckOutput(options.file);
  Collector collector(options);
  const RulePlaces& places = collector.table().places();
  const auto report = [&places](const LogRun& run) { return ReportRuleUse(run, places); };
  const auto add = [&collector](const LogEntry& log, const std::vector<Reply>& replies) {
    collector.add(log, replies[0]);
  };
  Replay(options.replay, {options.configDir}, {report, IsAnyRuleUsed, add});
  const RuleUseTable& table = collector.table();
  const bool isCovered = std::none_of(table.rules().begin(), table.rules().end(), IsIdle);
  // The text gives reasons for rules that never fired only.
  if (!isCovered || options.format != "text") {
    collector.addReasons({options.replay.workers.jobs, options.replay.workers.secondsPerLog}, options.replay.checkPath);
  }
  const Counts& counts = collector.counts();
  PrintTo(options.file, [&](bool inColour, std::ostream& out) { Print(table, counts, options, inColour, out); });
  return isCovered && counts.failed == 0 ? kSuccess : kNegative;
}

}  // namespace

void AddCoverage(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand(
      "coverage", "Count in how many logs each rule fires, and list crash lines that no rule used");
  const auto options = std::make_shared<Options>();
  AddReplayOptions(*command, options->replay);
  AddConfigOption(*command, options->configDir);
  AddFormatOption(*command, options->format, {"text", "json", "html"});
  AddOutputOption(*command, options->file, options->format);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
