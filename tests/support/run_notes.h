#ifndef TESTS_SUPPORT_RUN_NOTES_H
#define TESTS_SUPPORT_RUN_NOTES_H

#include <string>
#include <vector>

#include "analysis/run_observer.h"

// Writes down what an analysis reports, a line each.
struct RunNotes : RunObserver {
  std::vector<std::string> lines;

  void onRun(const std::string& id, const FeatureFrame& frame, const Analysis& /*run*/) override {
    lines.push_back("run " + id + " of " + std::to_string(frame.rules.size()) + " rules");
  }
  void onUnreadableLog() override { lines.push_back("unreadable"); }
  void onLine(std::string_view line, size_t offset, LineFate fate) override {
    const char* const names[] = {"examined", "overlong", "indented", "spanned"};
    lines.push_back(std::to_string(offset) + " " + names[static_cast<int>(fate)] + " " +
                    std::string(line.substr(0, 9)));
  }
  void onRule(const FeatureRule& rule, RuleOutcome outcome) override {
    const char* const names[] = {"selects", "waits with", "is open in", "finds nothing of"};
    lines.push_back("  " + rule.name + " " + names[static_cast<int>(outcome)] + " " + rule.keyWords);
  }
  void onParam(const FeatureRule& rule, const std::string& key, const std::string* value, size_t offset) override {
    lines.push_back("  " + rule.name + "." + key +
                    (value == nullptr ? " not found" : "=" + *value + " at " + std::to_string(offset)));
  }
  void onSpent(const FeatureRule& rule) override { lines.push_back("  " + rule.name + " spent"); }
  void onScanEnd(ScanEnd reason) override {
    const char* const names[] = {"end of log", "skip limit", "no rule left"};
    lines.push_back(names[static_cast<int>(reason)]);
  }
  void onContribution(const std::string& name, const Record* record, const std::string& value) override {
    lines.push_back("  " + name + (record == nullptr ? " not there" : " gives " + value));
  }
  void onTemplate(const std::string& key, const std::string& text, const std::string& value) override {
    lines.push_back(key + " by " + text + " is " + value);
  }
  void onMerged(const std::map<std::string, std::string>& result) override {
    lines.push_back("merged " + std::to_string(result.size()));
  }
};

#endif  // TESTS_SUPPORT_RUN_NOTES_H
