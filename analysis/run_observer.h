#ifndef ANALYSIS_RUN_OBSERVER_H
#define ANALYSIS_RUN_OBSERVER_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "analysis/line_info.h"
#include "rules/rule_records.h"

class Analysis;

// What becomes of a line that the scan reads.
enum class LineFate {
  kExamined,
  kOverlong,  // passed over: more than 2048 bytes
  kIndented,  // passed over: empty or indented, in the segment part
  kSpanned,   // taken by the rule that selected a line before, for its "num"
};

// What becomes of a rule that is tried on a line. The first one that selects the line ends the trying.
enum class RuleOutcome { kSelects, kDependencyNotMet, kVariableOpen, kKeyWordsNotFound };

enum class ScanEnd { kEndOfLog, kSkipLimit, kNoRuleLeft };

// Receives the decisions of a run, in order; the results are those of a run without an observer. References are good
// for the call only, but a rule keeps its address for as long as its run lasts.
class RunObserver {
 public:
  virtual ~RunObserver() = default;

  // True: the scan tries every rule on every line, without a filter, and reports each. False: it is as fast as without
  // an observer, and reports the lines that rules select or span, and the rule that selects, only.
  virtual bool wantsEveryLine() const { return true; }

  // --- One run: a feature's rules over a log ---

  // A run begins; it erases from `frame`, and fills variables in it, as it goes on. Until its last template is
  // reported, `run` may be asked for its records and how it judges copies of rules.
  virtual void onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& run) = 0;

  // The log cannot be read: the run ends without result.
  virtual void onUnreadableLog() = 0;

  // `offset`: of the line's first byte in the log.
  virtual void onLine(std::string_view line, size_t offset, LineFate fate) = 0;

  // `rule` as it was judged: with the values of its variables, if it had any that could be filled.
  virtual void onRule(const FeatureRule& rule, RuleOutcome outcome) = 0;

  // A parameter of the selecting rule was looked for in the current line. `value` is null when it was not found, else
  // what the line holds from `offset` on. Of a parameter whose pattern is for a stack it is empty.
  virtual void onParam(const FeatureRule& rule, const std::string& key, const std::string* value, size_t offset) = 0;

  // The rule has done its work and leaves the run; it is gone after the call.
  virtual void onSpent(const FeatureRule& rule) = 0;

  virtual void onScanEnd(ScanEnd reason) = 0;

  // A template asks for the record `name`: null when there is none. `value` is what it contributes.
  virtual void onContribution(const std::string& name, const Record* record, const std::string& value) = 0;

  // All contributions of a template are reported. An empty value makes no key.
  virtual void onTemplate(const std::string& key, const std::string& templateText, const std::string& value) = 0;

  // --- The whole call ---

  // The results of all runs, before the stack is filtered.
  virtual void onMerged(const std::map<std::string, std::string>& result) = 0;
};

#endif  // ANALYSIS_RUN_OBSERVER_H
