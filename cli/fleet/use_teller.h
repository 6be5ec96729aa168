#ifndef CLI_FLEET_USE_TELLER_H
#define CLI_FLEET_USE_TELLER_H

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

// What the rules take from a log.
struct LogUse {
  std::set<RuleKey> fired;
  std::string logPath;               // of the first run's log, from which the rest is; empty without a run
  std::vector<size_t> lines;         // offsets of those that rules select or span, in no order
  std::set<std::string> stackLines;  // of all stacks that were cut out, as far as the patterns took them
  std::vector<std::string> stack;    // the frames of "STACK", if it is one stack as it was cut...
  size_t stackBegin = 0;             // ...from this offset on
};

// Notes the use while the library is at a log, from a scan at full speed.
class UseTeller : public RunObserver {
 public:
  UseTeller(AnalyzedLog log, std::string eventType, const RulePlaces& places)
      : log_(std::move(log)), eventType_(std::move(eventType)), places_(places) {}

  const LogUse& use() const { return use_; }

  bool wantsEveryLine() const override { return false; }
  void onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& run) override;
  void onLine(std::string_view line, size_t offset, LineFate fate) override;
  void onRule(const FeatureRule& rule, RuleOutcome outcome) override;
  void onContribution(const std::string& name, const Record* record, const std::string& value) override;
  void onTemplate(const std::string& key, const std::string& templateText, const std::string& value) override;

  void onUnreadableLog() override {}
  void onParam(const FeatureRule& /*rule*/, const std::string& /*key*/, const std::string* /*value*/,
               size_t /*offset*/) override {}
  void onSpent(const FeatureRule& /*rule*/) override {}
  void onScanEnd(ScanEnd /*reason*/) override {}
  void onMerged(const std::map<std::string, std::string>& /*result*/) override {}

 private:
  const PlacedEntry* entryOf(const std::string& featureId) const;

  const AnalyzedLog log_;
  const std::string eventType_;
  const RulePlaces& places_;
  LogUse use_;
  std::unordered_map<const FeatureRule*, RuleKey> idle_;  // rules of all runs that have not fired
  bool isFirstLog_ = false;                               // the run reads the log of the first one
  size_t contributions_ = 0;                              // to the template to come, the last one...
  size_t lastBegin_ = 0;                                  // ...from this offset on
  bool hasStack_ = false;                                 // a run gave "STACK"
};

#endif  // CLI_FLEET_USE_TELLER_H
