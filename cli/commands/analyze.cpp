#include <android/log.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "cli/check/wrong_type.h"
#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/output/json_text.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/event_types.h"
#include "entry/compiled_rules.h"
#include "rules/rule_syntax.h"

namespace {

using Result = std::map<std::string, std::string>;

struct Options {
  std::string log;
  std::string configDir;
  std::string eventType;
  std::string as;
  bool json = false;
  bool checkPath = false;
  bool verbose = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix analyze crash.txt --config rules --event java_crash\n"
    "\n"
    "Exit status: 0 results were found, 1 nothing was found, 2 wrong usage or input that cannot be read.";

// --- Output ---

void PrintJson(const Result& result) {
  Json::Value root(Json::objectValue);
  for (const auto& [key, value] : result) root[ValidUtf8(key)] = ValidUtf8(value);
  std::cout << JsonLine(root) << '\n';
}

ExitStatus Run(const Options& options) {
  AnalyzedLog log = {CheckedLogPath(options.log)};
  if (!options.as.empty()) log = {DevicePath(options.as, options.log), log.path};
  CheckRuleFiles(options.configDir);
  CheckEventType(options.eventType, options.configDir);
  PrepareLibrary(options.checkPath);
  if (options.verbose) __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
  Result result;
  CallOrEnd(
      {options.configDir, WrongTypeInRules},
      [&] { result = CompiledRules(options.configDir).analysis(log, options.eventType, nullptr); },
      [&options] { return MatchRuleFile(options.configDir); });
  if (options.json) {
    PrintJson(result);
  } else {
    PrintResult(result, std::cout);
  }
  if (!result.empty()) return kSuccess;
  std::cerr << "kestrix: " << options.log << ": nothing found for the event type " << options.eventType << '\n';
  return kNegative;
}

}  // namespace

void AddAnalyze(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("analyze", "Analyse a log by the rules and print the result map");
  const auto options = std::make_shared<Options>();
  AddLogOption(*command, options->log);
  AddConfigOption(*command, options->configDir);
  AddEventOption(*command, options->eventType);
  command->add_flag("--json", options->json, "Print one JSON object on one line");
  AddPathTestOptions(*command, options->as, options->checkPath);
  command->add_flag("--verbose", options->verbose, "Show the library's log lines on standard error");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
