#include <iostream>

#include "cli/commands/commands.h"
#include "cli/commands/help_texts.h"

namespace {

constexpr char kExample[] =
    "Example:\n"
    "  source <(kestrix completion)";

constexpr char kBegin[] =
    "# bash completion for kestrix\n"
    "_kestrix() {\n"
    "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} command='' options='' word\n"
    "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
    "    [[ $word == -* ]] || { command=$word; break; }\n"
    "  done\n"
    "  case \"$command $prev\" in\n";

constexpr char kMiddle[] =
    "  esac\n"
    "  case \"$command\" in\n";

constexpr char kEnd[] =
    "  esac\n"
    "  if [[ $cur == -* || -z $command ]]; then\n"
    "    mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$cur\")\n"
    "  else\n"
    "    mapfile -t COMPREPLY < <(compgen -f -- \"$cur\")\n"
    "  fi\n"
    "}\n"
    "complete -o filenames -F _kestrix kestrix\n";

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// The line that completes the value of an option.
void PrintValue(const std::string& command, const CLI::Option& option, std::ostream& out) {
  const std::string name = ValueNameOf(option);
  if (option.get_positional() || name.empty()) return;
  out << "    '" << command << " " << option.get_name() << "') mapfile -t COMPREPLY < <(compgen ";
  const std::vector<std::string> choices = ChoicesOf(option);
  if (!choices.empty()) {
    out << "-W '" << Joined(choices) << "'";
  } else {
    out << (name == "DIR" ? "-d" : name == "FILE" ? "-f" : "-W ''");
  }
  out << " -- \"$cur\"); return ;;\n";
}

std::vector<std::string> OptionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional()) names.push_back("--" + option->get_lnames().front());
  }
  return names;
}

void PrintCompletion(const CLI::App& program, std::ostream& out) {
  std::vector<std::string> top = OptionNames(program);
  out << kBegin;
  for (const CLI::App* command : CommandsOf(program)) {
    top.push_back(command->get_name());
    for (const CLI::Option* option : command->get_options()) PrintValue(command->get_name(), *option, out);
  }
  out << kMiddle << "    '') options='" << Joined(top) << "' ;;\n";
  for (const CLI::App* command : CommandsOf(program)) {
    out << "    " << command->get_name() << ") options='" << Joined(OptionNames(*command)) << "' ;;\n";
  }
  out << kEnd;
}

}  // namespace

void AddCompletion(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("completion", "Print a script that completes command lines in bash");
  command->footer(kExample);
  command->callback([&program, &status] {
    PrintCompletion(program, std::cout);
    status = kSuccess;
  });
}
