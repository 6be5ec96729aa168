#include "cli/explain/make_story.h"

#include <algorithm>

#include "cli/check/wrong_type.h"
#include "cli/explain/entry_story.h"
#include "cli/explain/log_health.h"
#include "cli/explain/run_reporter.h"
#include "cli/explain/stack_story.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"
#include "util/file_util.h"
#include "util/limits.h"

namespace {

// Whether the runs are those of the feature ids that were found to be taken.
std::string IdFault(const Story& story) {
  std::vector<std::string> taken;
  for (const EntryStory& entry : story.entries) {
    for (const IdStory& id : entry.ids) {
      if (id.isTaken) taken.push_back(id.id);
    }
  }
  std::vector<std::string> run;
  for (const RunStory& runStory : story.runs) run.push_back(runStory.featureId);
  std::sort(taken.begin(), taken.end());
  std::sort(run.begin(), run.end());
  // Without a section of the event type in the assemble file there is no run.
  return run.empty() || taken == run ? "" : "the library runs other feature ids than those that are said to be taken";
}

// Whether the stack that the filter was observed at is the one in the result.
std::string ResultFault(const Story& story) {
  const auto stack = story.result.find(kStackKey);
  const std::string filtered = stack == story.result.end() ? "" : stack->second;
  return filtered == (story.stack ? story.stack->filtered : "") ? "" : "the result holds another stack than is shown";
}

std::vector<std::string> HealthOf(const std::string& path) {
  std::string log;
  if (FileUtil::LoadStringFromFile(path, log)) return RemarksOn(log);
  return {CheckReadableFile(path) > static_cast<off_t>(kMaxFileSize)
              ? "the log is larger than " + MaxLogSizeText() + ": the library reads nothing of it"
              : "the log cannot be read"};
}

}  // namespace

Story MakeStory(const Question& question) {
  CompiledRules compiled(question.configDir);
  return MakeStory(question, compiled);
}

Story MakeStory(const Question& question, CompiledRules& compiled) {
  Story story;
  story.logName = question.logName;
  story.logFile = question.logFile.empty() ? CheckedLogPathOfAnySize(question.logName) : question.logFile;
  story.logPath = question.as.empty() ? story.logFile : question.as;
  story.configDir = question.configDir;
  story.eventType = question.eventType;
  story.isStandIn = !question.as.empty();
  story.hasPathTests = question.hasPathTests || story.isStandIn;
  story.askedLine = question.line;
  story.askedRule = question.rule;
  story.askedKey = question.key;
  story.askedVerdicts = question.verdicts;

  const JsonFile matchFile(MatchRuleFile(question.configDir));
  const JsonFile assembleFile(AssembleRuleFile(question.configDir));
  const RuleModel model(matchFile, assembleFile);
  const RulePlaces places(model);
  const RuleDir rules{question.configDir, WrongTypeInRules};
  TriedEntry tried;
  CallOrEnd(
      rules, [&] { story.entries = MakeEntryStories(story, places, tried); },
      [&tried] { return TextOf(tried.place) + ": the path test of \"" + tried.key + "\""; });
  RunReporter runs(story, places);
  const AnalyzedLog log = {story.logPath, story.isStandIn ? story.logFile : ""};
  CallOrEnd(
      rules, [&] { story.result = compiled.analysis(log, question.eventType, &runs); },
      [&runs] { return runs.whatIsTried(); });
  story.stack = MakeStackStory(story, runs);
  story.health = HealthOf(story.logFile);
  for (const std::string& fault : {IdFault(story), ResultFault(story)}) {
    if (!fault.empty()) story.faults.push_back(fault);
  }
  return story;
}
