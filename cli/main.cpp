#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>

#include "cli/commands/commands.h"

namespace {

using AddCommand = void (*)(CLI::App& program, ExitStatus& status);

constexpr AddCommand kCommands[] = {
    AddAnalyze, AddBatch, AddCheck, AddCompletion, AddCoverage, AddDiff, AddExplain,
    AddGroups,  AddInit,  AddLsp,   AddMan,        AddSuggest,  AddTest,
};

// A standard stream that was closed when the program started would be taken by the next file that is opened. One that
// fails at each use takes its place.
void OpenStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) _exit(kBadInput);
  }
}

std::string UsageError(const CLI::App* /*program*/, const CLI::Error& error) {
  return std::string("kestrix: ") + error.what() + "; kestrix --help shows the usage\n";
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardStreams();
  ExitStatus status = kSuccess;
  try {
    CLI::App program("Tries rule files on diagnostic logs.", "kestrix");
    program.set_version_flag("--version", "kestrix " KESTRIX_VERSION);
    program.require_subcommand(0, 1);  // with a minimum, an unknown command would be reported as a missing one
    program.failure_message(UsageError);
    program.footer("kestrix COMMAND --help describes a command.");
    for (const AddCommand add : kCommands) add(program, status);
    try {
      program.parse(argc, argv);
      if (program.get_subcommands().empty()) throw CLI::RequiredError("A command");
    } catch (const CLI::ParseError& error) {
      return program.exit(error) == 0 ? kSuccess : kBadInput;
    }
  } catch (const std::exception& error) {
    std::cerr << "kestrix: " << error.what() << '\n';
    return kBadInput;
  }
  if (!std::cout.flush()) {
    std::cerr << "kestrix: standard output cannot be written\n";
    return kBadInput;
  }
  return status;
}
