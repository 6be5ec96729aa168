#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/explain/make_story.h"
#include "cli/explain/text_story.h"
#include "cli/fleet/case_report.h"
#include "cli/fleet/golden_case.h"
#include "cli/fleet/replay.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/side_by_side.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/event_types.h"

namespace {

struct Options {
  std::vector<std::string> paths;
  std::string configDir;
  std::string format = "text";
  WorkerOptions workers;
  bool update = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix test cases --config rules\n"
    "\n"
    "Exit status: 0 every case gives what is expected, or does so now, 1 a case fails, 2 wrong usage or no case.";

// Analyses the logs of the cases at `indexes` and hands over, for each, what a worker returns.
void RunCases(const std::vector<GoldenCase>& cases, const std::vector<size_t>& indexes, const Options& options,
              const std::function<Fields(const LogRun& run)>& analyze,
              const std::function<void(size_t index, const Reply& reply)>& sink) {
  size_t next = 0;
  size_t done = 0;
  RunInWorkers(
      options.workers,
      [&](LogRun& run) {
        if (next == indexes.size()) return WorkerPool::Next::kEnd;
        run = cases[indexes[next++]].run;
        return WorkerPool::Next::kRequest;
      },
      analyze, [&](const LogRun& /*run*/, const Reply& reply) { sink(indexes[done++], reply); });
}

std::string Difference(const TextMap& expected, const TextMap& actual, const std::string& key, bool inColour) {
  std::ostringstream text;
  const auto state = [&key](const TextMap& results) { return results.count(key) > 0 ? "" : " (no such key)"; };
  text << "    " << LineForPeople(key) << ", expected" << state(expected) << " and actual" << state(actual) << '\n';
  PrintSideBySide(SideBySide(ValueOf(expected, key), ValueOf(actual, key)), "      ", inColour, text);
  return text.str();
}

// What leads to the value of each key, by index of the case; found out in workers, as the analysis that it watches may
// end its process.
std::map<size_t, std::string> StoriesOf(const std::vector<GoldenCase>& cases, const std::map<size_t, std::string>& keys,
                                        const Options& options) {
  std::vector<size_t> indexes;
  std::map<std::string, std::string> keyOfLog;
  for (const auto& [index, key] : keys) {
    indexes.push_back(index);
    keyOfLog[cases[index].run.log.path] = key;
  }
  const auto explain = [&keyOfLog](const LogRun& run) {
    const LogFile file(run.log.path);
    const Story story = MakeStory({.logName = run.log.path,
                                   .configDir = run.config,
                                   .eventType = run.log.event,
                                   .as = run.log.as,
                                   .logFile = file.path()});
    std::ostringstream text;
    PrintKeyAsText(story, keyOfLog.at(run.log.path), false, text);
    return Fields{text.str()};
  };
  std::map<size_t, std::string> stories;
  RunCases(cases, indexes, options, explain, [&stories](size_t index, const Reply& reply) {
    stories[index] = reply.fault.empty() ? reply.fields[0] : reply.fault + "\n";
  });
  return stories;
}

std::string Indented(const std::string& text) {
  std::string indented;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) indented += line.empty() ? "\n" : "    " + line + "\n";
  return indented;
}

// The case's outcome, without the story of how it came about.
CaseOutcome Judge(const GoldenCase& golden, const LogResult& actual, const Options& options, bool inColour) {
  CaseOutcome outcome{golden.path, actual.fault, "", false};
  if (!outcome.fault.empty()) return outcome;
  const TextMap expected = ExpectedOf(golden, actual.results);
  const std::vector<std::string> keys = Differences(expected, actual.results);
  if (!golden.expected) {
    outcome.fault = "there is no expected.json; --update writes it";
  } else if (!keys.empty()) {
    outcome.fault = keys[0] + " differs";
  }
  for (const std::string& key : keys) {
    outcome.story += Difference(expected, actual.results, key, inColour);
    if (!options.update) break;
  }
  return outcome;
}

std::vector<CaseOutcome> Test(const std::vector<GoldenCase>& cases, const Options& options, bool inColour) {
  std::vector<CaseOutcome> outcomes;
  std::vector<size_t> indexes;
  for (const GoldenCase& golden : cases) {
    if (golden.fault.empty()) indexes.push_back(outcomes.size());
    outcomes.push_back({golden.path, golden.fault, "", false});
  }
  const auto analyze = [](const LogRun& run) {
    CheckRuleFiles(run.config);
    CheckEventType(run.log.event, run.config);
    return AnalyzeToFields(run);
  };
  std::map<size_t, std::string> differingKeys;
  RunCases(cases, indexes, options, analyze, [&](size_t index, const Reply& reply) {
    const LogResult actual = ResultOf(reply);
    CaseOutcome& outcome = outcomes[index] = Judge(cases[index], actual, options, inColour);
    if (outcome.fault.empty() || !actual.fault.empty()) return;
    if (options.update) {
      try {
        UpdateExpected(cases[index], actual.results);
        outcome.isUpdated = true;
      } catch (const InputError& error) {  // the other cases go on
        outcome.fault = error.what();
      }
    } else if (cases[index].expected) {
      differingKeys[index] = Differences(ExpectedOf(cases[index], actual.results), actual.results)[0];
    }
  });
  for (const auto& [index, story] : StoriesOf(cases, differingKeys, options)) outcomes[index].story += Indented(story);
  return outcomes;
}

ExitStatus Run(const Options& options) {
  const std::vector<GoldenCase> cases = FindGoldenCases(options.paths, options.configDir);
  PrepareLibrary(false);
  const bool inColour = options.format == "text" && OutputTakesColours();
  const std::vector<CaseOutcome> outcomes = Test(cases, options, inColour);
  if (options.format == "tap") {
    PrintAsTap(outcomes, std::cout);
  } else if (options.format == "junit") {
    PrintAsJunit(outcomes, std::cout);
  } else {
    PrintAsText(outcomes, inColour, std::cout);
  }
  return FailureCount(outcomes) > 0 ? kNegative : kSuccess;
}

}  // namespace

void AddTest(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("test", "Hold the results of logs against what is expected of them");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("CASES", options->paths,
                   "Cases, each a folder with log.txt, event, expected.json and, unless --config is for all, rules; or "
                   "folders of cases")
      ->type_name("")
      ->required();
  command->add_option("--config", options->configDir, "Directory of the rule files for cases that bring none")
      ->type_name("DIR");
  AddFormatOption(*command, options->format, {"text", "tap", "junit"});
  command->add_flag("--update", options->update, "Show what differs and make it what is expected");
  AddWorkerOptions(*command, options->workers);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
