#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>

#include "cli/commands/commands.h"
#include "cli/fleet/log_list.h"
#include "cli/library/input.h"
#include "cli/output/output_file.h"
#include "cli/output/progress.h"
#include "cli/output/terminal.h"
#include "cli/suggest/starter.h"
#include "rules/rule_syntax.h"

namespace {

struct Options {
  std::string folder;
  std::vector<std::string> from;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix init rules --from logs\n"
    "\n"
    "Exit status: 0 the rules give a result for each log, 1 not for each, 2 wrong usage, files that cannot be read, or "
    "rules that are there already.";

std::vector<std::string> LogsIn(const std::vector<std::string>& paths) {
  LogList list({.paths = paths});
  std::vector<std::string> logs;
  LogEntry entry;
  while (list.next(entry) == LogList::Next::kEntry) {
    if (!entry.error.empty()) throw InputError(entry.path, entry.error);
    logs.push_back(entry.path);
  }
  return logs;
}

void RefuseToOverwrite(const std::string& folder) {
  for (const std::string& path : {MatchRuleFile(folder), AssembleRuleFile(folder)}) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) throw InputError(path, "is there already");
  }
}

// Both files or none.
void Write(const std::string& folder, const std::vector<Draft>& drafts) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) throw InputError(folder, error.message());
  WriteWholeFile(AssembleRuleFile(folder), AssembleText(drafts));
  try {
    WriteWholeFile(MatchRuleFile(folder), MatchText(drafts));
  } catch (const InputError&) {
    std::filesystem::remove(AssembleRuleFile(folder), error);
    throw;
  }
}

ExitStatus Run(const Options& options) {
  RefuseToOverwrite(options.folder);
  if (std::find(options.from.begin(), options.from.end(), "-") != options.from.end()) {
    throw InputError("--from", "takes logs and folders, not standard input");
  }
  const std::vector<std::string> logs = LogsIn(options.from);
  Progress progress([&logs] { return std::optional<size_t>(logs.size()); });
  const Starter starter = MakeStarter(logs, [&progress] { progress.step(); });
  progress.hide();
  if (starter.drafts.empty()) {
    std::cerr << "kestrix: no line of the logs looks like the head of a crash or hang; nothing was written\n";
    return kNegative;
  }
  Write(options.folder, starter.drafts);
  const auto served =
      std::count_if(starter.logs.begin(), starter.logs.end(), [](const StarterLog& log) { return log.hasResult; });
  std::cout << Counted(starter.drafts.size(), "feature") << " in " << options.folder << "; " << served << " of "
            << Counted(starter.logs.size(), "log") << " have a result\n";
  for (const StarterLog& log : starter.logs) {
    std::cout << "  " << LineForPeople(log.path) << ": "
              << (log.hasResult           ? log.eventType
                  : log.eventType.empty() ? "no line looks like the head of a crash or hang"
                                          : "no rule was found, event type " + log.eventType)
              << '\n';
  }
  std::cout << "Set \"dirOrFile\" and \"subcataLog\" to where the device keeps these logs.\n";
  return served == static_cast<std::ptrdiff_t>(starter.logs.size()) ? kSuccess : kNegative;
}

}  // namespace

void AddInit(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("init", "Make a folder of rule files to begin with");
  const auto options = std::make_shared<Options>();
  command->add_option("DIR", options->folder, "The folder; rule files that it holds are left alone")
      ->type_name("")
      ->required();
  command->add_option("--from", options->from, "Logs, or folders of logs, that the rules are to give a result for")
      ->type_name("LOG")
      ->required();
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
