#ifndef CLI_FLEET_RULE_COVERAGE_H
#define CLI_FLEET_RULE_COVERAGE_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/fleet/log_run.h"
#include "cli/fleet/untaken_lines.h"
#include "cli/fleet/use_reporter.h"
#include "cli/fleet/worker_pool.h"
#include "cli/rule_files/rule_places.h"

// A reason for which a rule did not fire.
struct Idleness {
  size_t logs = 0;
  std::string example;  // path of the first of them
};

// How a rule of a feature fared in many logs.
struct RuleUse {
  std::string eventType;
  RuleKey key;
  size_t fired = 0;     // logs
  size_t idle = 0;      // logs
  size_t examined = 0;  // of the idle ones, those that were examined for reasons
  std::map<std::string, Idleness> reasons = {};

  // The most frequent reason; null when there is none.
  const std::pair<const std::string, Idleness>* mainReason() const;
};

// Lines of one shape that no rule took.
struct UntakenShape {
  LineShape shape;
  size_t lines = 0;
  size_t logs = 0;
  std::string example;  // "<path>:<line>: <text>", from the first log
};

// What a worker reports of a log for a RuleUseTable: which rules fired, and the lines that none took.
Fields ReportRuleUse(const LogRun& run, const RulePlaces& places);

// Whether that reports a rule that fired.
bool IsAnyRuleUsed(const Fields& report);

// What a worker reports of a log about the rules that do not fire in it. That takes many times longer: every rule is
// held against every line.
Fields ReportIdleRules(const LogRun& run, bool checkPath);

class RuleUseTable {
 public:
  // The rules in `configDir` for the event type, or for all when it is empty; none of them used yet. Throws InputError.
  RuleUseTable(const std::string& configDir, const std::string& eventType);

  // Of the rules as they were read.
  const RulePlaces& places() const { return places_; }

  // What ReportRuleUse returns for `log` with the event type that it was analysed under; without one, no rule has taken
  // anything from it. One log under several event types comes in a row: what rules of any of them take is taken.
  void add(const LogEntry& log, const Fields& report);

  // What ReportIdleRules returns for a log that was added.
  void addReasons(const LogEntry& log, const Fields& report);

  // In the order of the features' entries and of their rules.
  const std::vector<RuleUse>& rules() const { return rules_; }

  // The most frequent first. Of more shapes than can be kept the first to come are.
  std::vector<UntakenShape> untaken() const;

 private:
  using ShapeMap = std::map<LineShape, UntakenShape>;

  static ShapeMap untakenIn(const LogEntry& log, const Fields& report);
  static void count(const ShapeMap& added, ShapeMap& shapes);
  void addUntaken(const LogEntry& log, ShapeMap untaken);

  const JsonFile matchFile_;
  const JsonFile assembleFile_;
  const RuleModel model_;
  const RulePlaces places_;
  std::vector<RuleUse> rules_;
  ShapeMap untaken_;      // of all logs but the last
  LogEntry last_;         // which may come once more, under another event type
  ShapeMap lastUntaken_;  // what no event type's rules have taken of it
};

#endif  // CLI_FLEET_RULE_COVERAGE_H
