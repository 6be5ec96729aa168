#ifndef CLI_COMMANDS_SHARED_OPTIONS_H
#define CLI_COMMANDS_SHARED_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/fleet/grouping.h"
#include "cli/fleet/replay.h"

// The options that several commands take, each declared once.

// "Directory of ..." and the names of the two files.
std::string DirectoryOfRules();

void AddLogOption(CLI::App& command, std::string& log);

// A log that may be compressed, or stand on standard input: for LogFile::ofArgument().
void AddAnyLogOption(CLI::App& command, std::string& log);

void AddConfigOption(CLI::App& command, std::string& dir);
void AddEventOption(
    CLI::App& command, std::string& type,
    const std::string& description = "Event type whose rules apply; by default all that the rules know are tried");

// Whether the rules' path tests are applied, and to which path: --as and --check-path.
void AddPathTestOptions(CLI::App& command, std::string& as, bool& checkPath);

// A required directory of rule files; --config is one.
void AddRulesOption(CLI::App& command, const std::string& name, std::string& dir, const std::string& description);

// "text" is what `format` holds before, and one of the choices. Where "json" is one, --json is short for it.
void AddFormatOption(CLI::App& command, std::string& format, const std::vector<std::string>& choices);

// A file in place of standard output; "-" is standard output, too. Its ending chooses `format` where no option does: to
// be added behind these.
void AddOutputOption(CLI::App& command, std::string& file, std::string& format);

void AddWorkerOptions(CLI::App& command, WorkerOptions& options);

// The logs, the event type and the workers of a command that goes over many logs.
void AddReplayOptions(CLI::App& command, ReplayOptions& options);

// What the logs of a group have in common.
struct GroupingOptions {
  std::vector<std::string> keys;
  size_t top = 0;
  std::string skipFile;
};

void AddGroupingOptions(CLI::App& command, GroupingOptions& options);

// --like: names, beside groups that are alike, `which` of them look alike, and are not made one.
void AddLikeOption(CLI::App& command, bool& like, const std::string& which);

// Throws InputError for a file of frames that cannot be used, or where it and one of the `others` are both "-".
Grouping GroupingOf(const GroupingOptions& options, std::vector<std::string> others);

#endif  // CLI_COMMANDS_SHARED_OPTIONS_H
