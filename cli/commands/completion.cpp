#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cli/check/finding_codes.h"
#include "cli/commands/commands.h"
#include "cli/commands/help_texts.h"
#include "cli/output/input_error.h"
#include "cli/rule_files/rule_model.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

constexpr char kExample[] =
    "Example:\n"
    "  source <(kestrix completion)";

// What rules hold is compared here: compgen would expand what is written in a name.
constexpr char kBegin[] =
    "# bash completion for kestrix\n"
    "_kestrix_of_rules() {\n"
    "  local dirs=() i word\n"
    "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
    "    case ${COMP_WORDS[i - 1]} in --config | --old | --new) dirs+=(\"${COMP_WORDS[i]}\") ;; esac\n"
    "  done\n"
    "  ((${#dirs[@]})) || return\n"
    "  while IFS= read -r word; do\n"
    "    [[ $word == \"$cur\"* ]] && COMPREPLY+=(\"$word\")\n"
    "  done < <(\"${COMP_WORDS[0]}\" completion --list \"$1\" \"${dirs[@]}\" 2>/dev/null)\n"
    "}\n"
    "_kestrix() {\n"
    "  COMPREPLY=()\n"
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

constexpr char kEvents[] = "events";
constexpr char kRules[] = "rules";
constexpr char kKeys[] = "keys";

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// Options whose values are what the rules of the command line hold.
constexpr struct {
  const char* option;
  const char* what;
} kOfRules[] = {{"--event", kEvents}, {"--rule", kRules}, {"--key", kKeys}};

void AppendFrom(const std::string& dir, const std::string& what, std::set<std::string>& words) {
  const JsonFile matchFile(MatchRuleFile(dir));
  const JsonFile assembleFile(AssembleRuleFile(dir));
  const RuleModel model(matchFile, assembleFile);
  for (const PlacedEntry& entry : model.entries) {
    for (const PlacedId& id : entry.ids) {
      if (what == kEvents) words.insert(id.eventType);
    }
    for (const PlacedRule& rule : entry.rules) {
      if (what == kRules) words.insert(rule.record.name);
    }
  }
  if (what != kKeys) return;
  for (const auto& [eventType, byId] : model.assembling) {
    for (const auto& [id, templates] : byId) {
      for (const PlacedTemplate& placed : templates.templates) words.insert(placed.key);
    }
  }
  words.insert({kStackKey, kFingerprintKey, kFrameKeys[0], kFrameKeys[1], kFrameKeys[2]});
}

void PrintList(const std::string& what, const std::vector<std::string>& dirs, std::ostream& out) {
  std::set<std::string> words;
  for (const std::string& dir : dirs) {
    try {
      AppendFrom(dir, what, words);
    } catch (const InputError&) {
      continue;  // the command itself will report it
    }
  }
  for (const std::string& word : words) {
    if (word.find('\n') == std::string::npos) out << word << '\n';
  }
}

// The line that completes the value of an option.
void PrintValue(const std::string& command, const CLI::Option& option, std::ostream& out) {
  const std::string name = ValueNameOf(option);
  if (option.get_positional() || name.empty()) return;
  out << "    '" << command << " " << option.get_name() << "') ";
  for (const auto& [optionName, what] : kOfRules) {
    if (option.get_name() == optionName) {
      out << "_kestrix_of_rules " << what << "; return ;;\n";
      return;
    }
  }
  out << "mapfile -t COMPREPLY < <(compgen ";
  std::vector<std::string> choices = ChoicesOf(option);
  if (option.get_name() == "--why") {
    for (const FindingCode& code : AllFindingCodes()) choices.emplace_back(code.name);
  }
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
  const auto what = std::make_shared<std::string>();
  const auto dirs = std::make_shared<std::vector<std::string>>();
  CLI::Option* list =
      command
          ->add_option("--list", *what,
                       "Instead print what the rules hold, as the script asks for it: event types, names of "
                       "rules, or result keys")
          ->type_name("WHAT")
          ->check(CLI::IsMember({kEvents, kRules, kKeys}));
  command->add_option("DIR", *dirs, "Directories of rule files, for --list")->type_name("")->needs(list);
  command->footer(kExample);
  command->callback([&program, what, dirs, &status] {
    if (what->empty()) {
      PrintCompletion(program, std::cout);
    } else {
      PrintList(*what, *dirs, std::cout);
    }
    status = kSuccess;
  });
}
