#include <android/log.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/check/wrong_type.h"
#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/json_text.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/event_types.h"
#include "cli/rule_files/spelling.h"
#include "entry/compiled_rules.h"
#include "rules/rule_syntax.h"

namespace {

using Result = std::map<std::string, std::string>;

struct Options {
  std::string log;
  std::string configDir;
  std::string eventType;
  std::string as;
  std::string format = "text";
  bool checkPath = false;
  bool verbose = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix analyze crash.txt --config rules\n"
    "  kestrix analyze crash.txt --config rules --event java_crash --as /data/anr/anr_01\n"
    "\n"
    "Exit status: 0 results were found, 1 nothing was found, 2 wrong usage or input that cannot be read.";

// --- Output ---

Json::Value ToJson(const Result& result) {
  Json::Value root(Json::objectValue);
  for (const auto& [key, value] : result) root[ValidUtf8(key)] = ValidUtf8(value);
  return root;
}

// Of the event types that were tried, those that gave results; each with its name.
void PrintByEventType(const std::map<std::string, Result>& results, bool asJson) {
  bool isFirst = true;
  for (const auto& [eventType, result] : results) {
    if (asJson) {
      Json::Value line;
      line["event"] = ValidUtf8(eventType);
      line["results"] = ToJson(result);
      std::cout << JsonLine(line) << '\n';
      continue;
    }
    std::cout << (isFirst ? "" : "\n") << LineForPeople(eventType) << '\n';
    PrintResult(result, std::cout);
    isFirst = false;
  }
}

void Print(const std::map<std::string, Result>& results, const Options& options) {
  if (options.eventType.empty()) return PrintByEventType(results, options.format == "json");
  const Result result = results.empty() ? Result() : results.begin()->second;
  if (options.format == "text") return PrintResult(result, std::cout);
  std::cout << JsonLine(ToJson(result)) << '\n';
}

// The event types that give results, with them.
std::map<std::string, Result> Analyze(const AnalyzedLog& log, const std::vector<std::string>& eventTypes,
                                      const std::string& configDir) {
  std::map<std::string, Result> results;
  CompiledRules rules(configDir);
  const auto call = [&] {
    for (const std::string& type : eventTypes) {
      Result result = rules.analysis(log, type, nullptr);
      if (!result.empty()) results[type] = std::move(result);
    }
  };
  CallOrEnd({configDir, WrongTypeInRules}, call, [&configDir] { return MatchRuleFile(configDir); });
  return results;
}

ExitStatus Run(const Options& options) {
  if (options.checkPath) CheckLogPlace(options.log);
  const LogFile file = LogFile::ofArgument(options.log);
  const std::string as = options.as.empty() ? "" : DevicePath(options.as, options.log);
  CheckRuleFiles(options.configDir);
  const std::vector<std::string> eventTypes = EventTypesToTry(options.eventType, options.configDir);
  PrepareLibrary(options.checkPath);
  if (options.verbose) __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
  const std::map<std::string, Result> results = Analyze(file.at(as), eventTypes, options.configDir);
  Print(results, options);
  if (!results.empty()) return kSuccess;
  std::cerr << "kestrix: " << LineForPeople(options.log) << ": nothing found for the event type"
            << (eventTypes.size() > 1 ? "s " : " ") << LineForPeople(Listed(eventTypes))
            << "; kestrix explain tells why\n";
  return kNegative;
}

}  // namespace

void AddAnalyze(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("analyze", "Analyse a log by the rules and print the result map");
  const auto options = std::make_shared<Options>();
  AddAnyLogOption(*command, options->log);
  AddConfigOption(*command, options->configDir);
  AddEventOption(*command, options->eventType);
  AddFormatOption(*command, options->format, {"text", "json"});
  AddPathTestOptions(*command, options->as, options->checkPath);
  command->add_flag("--verbose", options->verbose, "Show the library's log lines on standard error");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
