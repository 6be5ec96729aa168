#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/help_texts.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/spelling.h"

namespace {

using AddCommand = void (*)(CLI::App& program, ExitStatus& status);

constexpr AddCommand kCommands[] = {
    AddAnalyze, AddBatch, AddCheck, AddCompletion, AddCoverage, AddDiff,    AddExplain,
    AddGroups,  AddHelp,  AddInit,  AddLsp,        AddMan,      AddSuggest, AddTest,
#ifdef KESTRIX_HAS_LIVE
    AddLive,
#endif
};

// A standard stream that was closed when the program started would be taken by the next file that is opened. One that
// fails at each use takes its place.
void OpenStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) != descriptor) _exit(kBadInput);
  }
}

std::string UnknownCommand(const CLI::App& program, const std::string& name) {
  std::vector<std::string> names;
  for (const CLI::App* command : CommandsOf(program)) names.push_back(command->get_name());
  return "there is no command " + Quoted(name) + DidYouMean(NearestTo(name, names));
}

// What is wrong with the command line, and which help describes it.
std::string UsageError(const CLI::App* program, const CLI::Error& error) {
  const std::vector<CLI::App*> commands = program->get_subcommands();
  const std::vector<std::string> extras = program->remaining(true);
  std::string reason = error.what();
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && !extras.empty()) {
    reason = "not expected: " + Listed(extras);
    if (commands.empty() && !extras[0].starts_with('-')) reason = UnknownCommand(*program, extras[0]);
  }
  const std::string command = commands.empty() ? "" : " " + commands[0]->get_name();
  return "kestrix: " + LineForPeople(reason) + "; kestrix" + command + " --help shows the usage\n";
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
    std::cerr << "kestrix: " << LineForPeople(error.what()) << '\n';
    return kBadInput;
  }
  if (!std::cout.flush()) {
    std::cerr << "kestrix: standard output cannot be written\n";
    return kBadInput;
  }
  return status;
}
