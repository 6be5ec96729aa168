#include "cli/commands/shared_options.h"

#include <algorithm>

#include "cli/fleet/line_input.h"
#include "cli/library/input.h"
#include "cli/output/terminal.h"
#include "rules/rule_syntax.h"

std::string DirectoryOfRules() { return std::string("Directory of ") + kMatchFileName + " and " + kAssembleFileName; }

void AddLogOption(CLI::App& command, std::string& log) {
  command.add_option("LOG", log, "The log file, of at most " + MaxLogSizeText())->required();
}

void AddAnyLogOption(CLI::App& command, std::string& log) {
  command
      .add_option("LOG", log,
                  "The log, of at most " + MaxLogSizeText() + ", also compressed by gzip or zstd; - is standard input")
      ->type_name("")
      ->required();
}

void AddRulesOption(CLI::App& command, const std::string& name, std::string& dir, const std::string& description) {
  command.add_option(name, dir, description)->type_name("DIR")->required();
}

void AddConfigOption(CLI::App& command, std::string& dir) {
  AddRulesOption(command, "--config", dir, DirectoryOfRules());
}

// An empty type is more likely a script's variable that nobody has set than a wish to try all.
void AddEventOption(CLI::App& command, std::string& type, const std::string& description) {
  command.add_option("--event", type, description)->type_name("TYPE")->check([](const std::string& name) {
    return name.empty() ? "an event type is not empty" : "";
  });
}

void AddPathTestOptions(CLI::App& command, std::string& as, bool& checkPath) {
  CLI::Option* here =
      command.add_flag("--check-path", checkPath,
                       "Apply the rules' path tests to where the log lies here; by default every path passes");
  command
      .add_option("--as", as,
                  "Apply them as if the log lay at this path of the device, where nothing is opened; of one that ends "
                  "in / the log's name is the rest")
      ->type_name("PATH")
      ->excludes(here)
      ->check(CLI::Validator(
          [](std::string& path) { return path.starts_with('/') ? "" : Quoted(path) + " is no absolute path"; }, ""));
}

void AddFormatOption(CLI::App& command, std::string& format, const std::vector<std::string>& choices) {
  CLI::Option* option =
      command.add_option("--format", format, "How to print it")->type_name("FORMAT")->check(CLI::IsMember(choices));
  if (std::find(choices.begin(), choices.end(), "json") == choices.end()) return;
  command
      .add_flag_callback(
          "--json", [&format] { format = "json"; }, "Short for --format json")
      ->excludes(option);
}

void AddOutputOption(CLI::App& command, std::string& file, std::string& format) {
  command
      .add_option(
          "-o,--output", file,
          "Write it to this file, - for standard output; without --format, .html or .json at its end chooses that")
      ->type_name("FILE");
  command.parse_complete_callback([&command, &file, &format] {
    if (command.count("--format") + command.count("--json") > 0) return;
    for (const char* ending : {"html", "json"}) {
      if (file.ends_with(std::string(".") + ending)) format = ending;
    }
  });
}

void AddWorkerOptions(CLI::App& command, WorkerOptions& options) {
  command
      .add_option("-j,--jobs", options.jobs,
                  "Worker processes; by default as many as there are cores. Each keeps the rules that it has compiled. "
                  "Rule files that change meanwhile are read again with its next log")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  command
      .add_option("--timeout", options.secondsPerLog,
                  "Seconds after which a log is given up, by default 60; 0 for no limit")
      ->type_name("SECONDS")
      ->check(CLI::Range(0, 1000000).description(""));
  command.add_flag("--verbose", options.verbose,
                   "Say on standard error how many workers there are, and how much memory each has for rules");
}

void AddReplayOptions(CLI::App& command, ReplayOptions& options) {
  command
      .add_option("PATH", options.logs.paths,
                  "Logs, also compressed by gzip or zstd; folders, walked in the order of the names; or - for a list "
                  "on standard input: a path on each "
                  "line, or an object {\"log\": \"a.txt\", \"event\": \"crash\", \"as\": \"/data/a.txt\"}")
      ->type_name("")
      ->required();
  command.add_flag("-0,--null", options.logs.listEndsInZero,
                   "The items of the list end in a zero byte, as find -print0 writes them");
  AddEventOption(command, options.logs.event);
  AddWorkerOptions(command, options.workers);
  AddPathTestOptions(command, options.logs.as, options.checkPath);
}

void AddGroupingOptions(CLI::App& command, GroupingOptions& options) {
  command.add_option("--by", options.keys, "The results to group by, by default FINGERPRINT")
      ->type_name("KEY[,KEY...]")
      ->delimiter(',')
      ->expected(1)
      ->allow_extra_args(false)  // what follows is a path
      ->take_all()
      ->check([](const std::string& key) { return key.empty() ? "a key is empty" : ""; });
  command
      .add_option("--top", options.top,
                  "Group by the first N frames of the stack, too, without their line numbers, addresses and the like; "
                  "in place of FINGERPRINT where --by names nothing")
      ->type_name("N")
      ->check(CLI::Range(1, 1000).description(""));
  command
      .add_option("--skip", options.skipFile,
                  "Group by the frames without those in which an expression of this file is found: one a line, with a "
                  "reason behind #")
      ->type_name("FILE");
}

void AddLikeOption(CLI::App& command, bool& like, const std::string& which) {
  command.add_flag("--like", like,
                   "Tell also which groups look alike, " + which +
                       ": half of their frames' weight is in both stacks in the same order, a frame weighing more the "
                       "nearer to the head and the rarer it is. They stay groups of their own");
}

Grouping GroupingOf(const GroupingOptions& options, std::vector<std::string> others) {
  others.push_back(options.skipFile);
  CheckStandardInput(others);
  return {options.keys, options.top, options.skipFile.empty() ? FrameSkips() : FrameSkips(options.skipFile)};
}
