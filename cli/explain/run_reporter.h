#ifndef CLI_EXPLAIN_RUN_REPORTER_H
#define CLI_EXPLAIN_RUN_REPORTER_H

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "analysis/analysis.h"
#include "cli/explain/key_word_distance.h"
#include "cli/explain/story.h"
#include "cli/rule_files/rule_places.h"

// Writes the runs into a story while the library is at them.
class RunReporter : public RunObserver {
 public:
  // The story holds the entries already.
  RunReporter(Story& story, const RulePlaces& places) : story_(story), places_(places) {}

  // The place and name of what the library is at, and the line, for the case that it goes no further.
  std::string whatIsTried() const;

  // The regular expression for the frames of a run's stack record; empty when it is none.
  std::string stackPatternOf(const std::string& featureId, const std::string& record) const;

  // The results of all runs, before the stack is filtered.
  const std::map<std::string, std::string>& merged() const { return merged_; }

  void onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& run) override;
  void onUnreadableLog() override;
  void onLine(std::string_view line, size_t offset, LineFate fate) override;
  void onRule(const FeatureRule& rule, RuleOutcome outcome) override;
  void onParam(const FeatureRule& rule, const std::string& key, const std::string* value, size_t offset) override;
  void onSpent(const FeatureRule& rule) override;
  void onScanEnd(ScanEnd reason) override;
  void onContribution(const std::string& name, const Record* record, const std::string& value) override;
  void onTemplate(const std::string& key, const std::string& templateText, const std::string& value) override;
  void onMerged(const std::map<std::string, std::string>& result) override;

 private:
  // How near a line comes to a rule.
  enum class Stage { kNone, kDependencyNotMet, kVariableOpen, kKeyWords, kKeyWordsOnly, kTaken };
  struct Nearness {
    Stage stage = Stage::kNone;
    KeyWordDistance::Score score = {};

    bool operator<(const Nearness& other) const { return std::tie(stage, score) < std::tie(other.stage, other.score); }
  };

  // A rule of the current run.
  struct Live {
    const FeatureRule* rule;  // null once spent; not to be used when the run is over
    KeyWordDistance distance;
    Nearness nearest = {};
  };

  RunStory& run() { return story_.runs.back(); }
  size_t indexOf(const FeatureRule& rule) const;
  void addRules(const FeatureFrame& frame);
  size_t logOf(const std::string& path);
  void planTemplates();
  void planVerdicts();
  bool isAsked(size_t line) const;
  void askAboutLine(LineFate fate);
  void judgeMiss(Live& live, size_t index, RuleOutcome outcome, const FeatureRule& rule);
  void judgeTaken(size_t taker);
  template <typename Words>
  void note(size_t index, VerdictKind kind, std::optional<Nearness> nearness, Words why);
  void tryParams(const FeatureRule& rule, size_t index);
  bool keyWordsWouldDo(Live& live, const FeatureRule& rule);
  KeyWordDistance& distanceOf(Live& live, const FeatureRule& rule) const;
  bool hasVariable(const FeatureRule& rule) const;
  std::string whyNotFound(const std::string& pattern) const;
  void addRecords();
  LogLine lineAt(int32_t position) const;
  LogLine lineOf(size_t number) const;
  std::string nameOf(size_t rule) const;
  std::string whatIsScanned() const;
  std::string whatIsAssembled() const;

  Story& story_;
  const RulePlaces& places_;
  const Analysis* analysis_ = nullptr;                  // good while it runs
  std::map<const FeatureRule*, FilePlace> rulePlaces_;  // of all runs: a feature that runs twice keeps its rules
  std::vector<Live> live_;
  std::map<const FeatureRule*, size_t> indexes_;
  LogLine current_;
  std::string text_;  // of the current line
  size_t selecting_ = 0;
  SelectedLine* selected_ = nullptr;      // what the selecting rule takes now; null when it is one too many
  std::map<std::string, size_t> makers_;  // record name -> rule
  std::map<std::pair<std::string, std::string>, std::string> stackPatterns_;  // feature id, record -> expression
  std::vector<ContributionStory> contributions_;                              // of the template to come
  std::map<std::string, std::string> givenBy_;                                // result key -> feature id
  std::map<std::string, std::string> merged_;

  // For whatIsTried().
  enum class At { kRules, kParams, kTemplates };
  At at_ = At::kRules;
  size_t triedRule_ = 0;
  std::set<std::string> paramsToTry_;  // keys, the next one first
};

#endif  // CLI_EXPLAIN_RUN_REPORTER_H
