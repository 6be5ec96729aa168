#ifndef CLI_COMMANDS_HELP_TEXTS_H
#define CLI_COMMANDS_HELP_TEXTS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// Reads commands, values and choices back out of CLI11, for the manual page and the completion script.

// The commands of the program, in the order of its help.
std::vector<const CLI::App*> CommandsOf(const CLI::App& program);

// The value that an option takes, as the help calls it ("FILE"); empty for a flag.
std::string ValueNameOf(const CLI::Option& option);

// The words that the value has to be one of; none when it is free.
std::vector<std::string> ChoicesOf(const CLI::Option& option);

#endif  // CLI_COMMANDS_HELP_TEXTS_H
