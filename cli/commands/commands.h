#ifndef CLI_COMMANDS_COMMANDS_H
#define CLI_COMMANDS_COMMANDS_H

#include <CLI/CLI.hpp>

#include "cli/output/exit_status.h"

// Each command is a function in a file of its own, which adds the command with its options to the program, and a row of
// the table in main.cpp. When the command line names the command, its callback does the work and sets `status`. It
// throws InputError for input that it cannot work with.
void AddAnalyze(CLI::App& program, ExitStatus& status);
void AddBatch(CLI::App& program, ExitStatus& status);
void AddCheck(CLI::App& program, ExitStatus& status);
void AddCompletion(CLI::App& program, ExitStatus& status);
void AddCoverage(CLI::App& program, ExitStatus& status);
void AddDiff(CLI::App& program, ExitStatus& status);
void AddExplain(CLI::App& program, ExitStatus& status);
void AddGroups(CLI::App& program, ExitStatus& status);
void AddHelp(CLI::App& program, ExitStatus& status);
void AddInit(CLI::App& program, ExitStatus& status);
void AddLsp(CLI::App& program, ExitStatus& status);
void AddLive(CLI::App& program, ExitStatus& status);
void AddMan(CLI::App& program, ExitStatus& status);
void AddSuggest(CLI::App& program, ExitStatus& status);
void AddTest(CLI::App& program, ExitStatus& status);

#endif  // CLI_COMMANDS_COMMANDS_H
