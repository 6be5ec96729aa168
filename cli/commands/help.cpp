#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/help_texts.h"
#include "cli/output/input_error.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/spelling.h"

namespace {

constexpr char kExample[] =
    "Example:\n"
    "  kestrix help analyze";

}  // namespace

void AddHelp(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("help", "Describe the program, or a command");
  const auto name = std::make_shared<std::string>();
  command->add_option("COMMAND", *name, "The command; without one, all are listed")->type_name("");
  command->footer(kExample);
  command->callback([&program, name, &status] {
    std::vector<std::string> names;
    for (const CLI::App* described : CommandsOf(program)) {
      names.push_back(described->get_name());
      if (names.back() == *name) std::cout << described->help();
    }
    if (name->empty()) {
      std::cout << program.get_formatter()->make_help(&program, "kestrix", CLI::AppFormatMode::Normal);
    } else if (std::find(names.begin(), names.end(), *name) == names.end()) {
      throw InputError("help", "there is no command " + Quoted(*name) + DidYouMean(NearestTo(*name, names)));
    }
    status = kSuccess;
  });
}
