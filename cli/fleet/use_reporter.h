#ifndef CLI_FLEET_USE_REPORTER_H
#define CLI_FLEET_USE_REPORTER_H

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "analysis/run_observer.h"
#include "cli/fleet/log_run.h"
#include "cli/rule_files/rule_places.h"
#include "entry/compiled_rules.h"

// A rule of a feature, as its file has it.
struct RuleKey {
  std::string featureId;
  std::string place;  // "rules/match_rule.json:12"
  std::string name;

  auto parts() const { return std::tie(featureId, place, name); }
  bool operator<(const RuleKey& other) const { return parts() < other.parts(); }
};

// A stack that was cut out of a log.
struct CutStack {
  std::string frameRegex;
  size_t begin = 0;  // offset of the line from which on it was searched
};

// What the rules take from a log.
struct LogUse {
  std::set<RuleKey> fired;
  std::string logPath;               // of the first run's log, from which the rest is; empty without a run
  std::vector<size_t> lines;         // offsets of those that rules select or span, in no order
  std::set<std::string> stackLines;  // of all stacks, as far as the patterns took them
  std::vector<CutStack> stacks;
};

// Notes the use while the library is at a log, from a scan at full speed.
class UseReporter : public RunObserver {
 public:
  UseReporter(AnalyzedLog log, std::string eventType, const RulePlaces& places)
      : log_(std::move(log)), eventType_(std::move(eventType)), places_(places) {}

  const LogUse& use() const { return use_; }

  bool wantsEveryLine() const override { return false; }
  void onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& run) override;
  void onLine(std::string_view line, size_t offset, LineFate fate) override;
  void onRule(const FeatureRule& rule, RuleOutcome outcome) override;
  void onParam(const FeatureRule& rule, const std::string& key, const std::string* value, size_t offset) override;
  void onContribution(const std::string& name, const Record* record, const std::string& value) override;

  void onUnreadableLog() override {}
  void onSpent(const FeatureRule& /*rule*/) override {}
  void onScanEnd(ScanEnd /*reason*/) override {}
  void onTemplate(const std::string& /*key*/, const std::string& /*templateText*/,
                  const std::string& /*value*/) override {}
  void onMerged(const std::map<std::string, std::string>& /*result*/) override {}

 private:
  const PlacedEntry* entryOf(const std::string& featureId) const;

  const AnalyzedLog log_;
  const std::string eventType_;
  const RulePlaces& places_;
  LogUse use_;
  std::unordered_map<const FeatureRule*, RuleKey> idle_;  // rules of all runs that have not fired
  std::map<std::string, std::string> frameRegexes_;       // of the run, by the names of records
  bool isFirstLog_ = false;                               // it reads the log of the first one
};

#endif  // CLI_FLEET_USE_REPORTER_H
