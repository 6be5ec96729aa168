#include "cli/commands/help_texts.h"

#include <sstream>

std::vector<const CLI::App*> CommandsOf(const CLI::App& program) {
  return program.get_subcommands([](const CLI::App*) { return true; });
}

// The type name is what the help shows: the value's name, and behind a colon its choices in braces.
std::string ValueNameOf(const CLI::Option& option) {
  if (option.get_expected_max() == 0 || option.get_type_size_max() == 0) return "";
  const std::string type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

std::vector<std::string> ChoicesOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const size_t open = type.find(":{");
  std::vector<std::string> choices;
  if (open == std::string::npos) return choices;
  std::istringstream words(type.substr(open + 2, type.rfind('}') - open - 2));
  for (std::string word; std::getline(words, word, ',');) choices.push_back(word);
  return choices;
}
