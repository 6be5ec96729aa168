#include <android-base/properties.h>
#include <android/log.h>
#include <json/json.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <exception>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "entry/kestrix.h"
#include "tools/commands.h"
#include "tools/input.h"
#include "tools/json_text.h"
#include "tools/rule_types.h"
#include "tools/terminal.h"
#include "tools/utf8.h"

namespace {

using Result = std::map<std::string, std::string>;

struct Options {
  std::string log;
  std::string configDir;
  std::string eventType;
  bool json = false;
  bool checkPath = false;
  bool verbose = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix analyze crash.txt --config rules --event java_crash\n"
    "\n"
    "Exit status: 0 results were found, 1 nothing was found, 2 wrong usage or input that cannot be read.";

// --- Faults inside the library ---

std::string abortReason;

// Ends at once: what the library held when it was left cannot be cleaned up. Safe in a signal handler.
[[noreturn]] void EndWith(const char* reason) {
  for (const char* part : {"kestrix: ", reason, "\n"}) {
    if (write(STDERR_FILENO, part, strlen(part)) < 0) break;
  }
  _exit(kBadInput);
}

void OnAbort(int /*signal*/) { EndWith(abortReason.c_str()); }

Result Analyze(const Options& options, const std::string& log) {
  const std::string file = MatchRuleFile(options.configDir) + ": ";
  abortReason = file + kAnalysisAborted;
  std::signal(SIGABRT, OnAbort);
  try {
    return Kestrix::analysis(log, options.configDir, options.eventType);
  } catch (const Json::Exception& error) {
    EndWith(WrongTypeInRules(options.configDir, error.what()).c_str());
  } catch (const std::exception& error) {
    EndWith((file + error.what()).c_str());
  }
}

// --- Output ---

void PrintForPeople(const Result& result) {
  size_t width = 0;
  for (const auto& [key, value] : result) width = std::max(width, key.size());
  for (const auto& [key, value] : result) {
    if (value.find('\n') == std::string::npos) {
      std::cout << std::left << std::setw(static_cast<int>(width)) << key << "  " << LineForPeople(value) << '\n';
      continue;
    }
    std::cout << key << '\n';
    std::istringstream lines(value);
    for (std::string line; std::getline(lines, line);) std::cout << "    " << LineForPeople(line) << '\n';
  }
}

void PrintJson(const Result& result) {
  Json::Value root(Json::objectValue);
  for (const auto& [key, value] : result) root[ValidUtf8(key)] = ValidUtf8(value);
  std::cout << JsonLine(root) << '\n';
}

ExitStatus Run(const Options& options) {
  const std::string log = CheckedLogPath(options.log);
  CheckRuleFiles(options.configDir);
  // Properties are the process's own here, not the device's.
  if (!options.checkPath) android::base::SetProperty("persist.sys.Kestrix.debug", "true");
  __android_log_set_minimum_priority(options.verbose ? ANDROID_LOG_VERBOSE : ANDROID_LOG_SILENT);
  const Result result = Analyze(options, log);
  if (options.json) {
    PrintJson(result);
  } else {
    PrintForPeople(result);
  }
  if (!result.empty()) return kSuccess;
  std::cerr << "kestrix: " << options.log << ": nothing found for the event type " << options.eventType << '\n';
  return kNothingFound;
}

}  // namespace

void AddAnalyze(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("analyze", "Analyse a log by the rules and print the result map");
  const auto options = std::make_shared<Options>();
  command->add_option("LOG", options->log, "The log file, of at most 32 MiB")->required();
  command->add_option("--config", options->configDir, "Directory of match_rule.json and assemble_rule.json")
      ->type_name("DIR")
      ->required();
  command->add_option("--event", options->eventType, "Event type whose rules apply")->type_name("TYPE")->required();
  command->add_flag("--json", options->json, "Print one JSON object on one line");
  command->add_flag("--check-path", options->checkPath,
                    "Apply the rules' path tests as on the device; by default every path passes");
  command->add_flag("--verbose", options->verbose, "Show the library's log lines on standard error");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
