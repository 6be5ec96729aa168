#include "cli/suggest/suggest.h"

#include <algorithm>
#include <iostream>
#include <memory>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/library/input.h"
#include "cli/output/json_text.h"
#include "cli/output/terminal.h"
#include "rules/rule_syntax.h"

namespace {

struct Options {
  SuggestRequest request;
  std::string lines;
  std::string format = "text";
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix suggest crash.txt --lines 99-131 --event java_crash --against logs/*.txt\n"
    "\n"
    "Exit status: 0 there are suggestions, 1 there is none, 2 wrong usage or files that cannot be read.";

// "99-131" or "99".
LineRange RangeOf(const std::string& text) {
  const size_t dash = std::min(text.find('-'), text.size());
  const std::string first = text.substr(0, dash);
  const std::string last = dash == text.size() ? first : text.substr(dash + 1);
  for (const std::string& number : {first, last}) {
    if (number.empty() || number.size() > 9 || number.find_first_not_of("0123456789") != std::string::npos) {
      throw InputError("--lines", "wants a line's number or two, such as 99-131");
    }
  }
  return {std::stoul(first), std::stoul(last)};
}

// "3, 7-9".
std::string RangesOf(const std::vector<size_t>& numbers) {
  std::string text;
  for (size_t i = 0; i < numbers.size();) {
    size_t end = i;
    while (end + 1 < numbers.size() && numbers[end + 1] == numbers[end] + 1) ++end;
    text += (text.empty() ? "" : ", ") + std::to_string(numbers[i]);
    if (end > i) text += "-" + std::to_string(numbers[end]);
    i = end + 1;
  }
  return text;
}

std::string Indented(const std::string& text) {
  std::string indented;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = text.find('\n', begin);
    indented += "    " + text.substr(begin, end + 1 - begin);
    begin = end + 1;
  }
  return indented;
}

void PrintTaking(const Suggestion& suggestion, std::ostream& out) {
  const auto row = [&out](const char* what, const std::vector<size_t>& numbers) {
    if (!numbers.empty()) out << "  " << what << RangesOf(numbers) << '\n';
  };
  row("its rules take: ", suggestion.taking.ruleLines);
  row("its stack takes: ", suggestion.taking.stackLines);
  row("left out: ", suggestion.missed);
  row("taken beside them: ", suggestion.strange);
  for (const Taking& other : suggestion.against) {
    out << "  of " << LineForPeople(other.log) << " it takes "
        << (other.fault.empty() ? Counted(other.lineCount(), "line") : LineForPeople("nothing: " + other.fault))
        << '\n';
  }
}

void PrintAsText(const std::vector<Suggestion>& suggestions, bool inColour, std::ostream& out) {
  size_t number = 0;
  for (const Suggestion& suggestion : suggestions) {
    if (number++ > 0) out << '\n';
    out << Painted(inColour, "1", "Suggestion " + std::to_string(number)) << ": "
        << Counted(suggestion.draft.rules.size(), "rule") << '\n';
    PrintTaking(suggestion, out);
    out << "\n  " << kMatchFileName << "\n"
        << Indented(MatchText({suggestion.draft})) << "\n  " << kAssembleFileName << "\n"
        << Indented(AssembleText({suggestion.draft}));
  }
}

Json::Value Numbers(const std::vector<size_t>& numbers) {
  Json::Value array(Json::arrayValue);
  for (const size_t number : numbers) array.append(JsonNumber(number));
  return array;
}

void PrintAsJson(const std::vector<Suggestion>& suggestions, std::ostream& out) {
  Json::Value root(Json::objectValue);
  root["suggestions"] = Json::Value(Json::arrayValue);
  for (const Suggestion& suggestion : suggestions) {
    Json::Value item;
    item["match"] = MatchText({suggestion.draft});
    item["assemble"] = AssembleText({suggestion.draft});
    item["ruleLines"] = Numbers(suggestion.taking.ruleLines);
    item["stackLines"] = Numbers(suggestion.taking.stackLines);
    item["leftOut"] = Numbers(suggestion.missed);
    item["beside"] = Numbers(suggestion.strange);
    item["against"] = Json::Value(Json::arrayValue);
    for (const Taking& other : suggestion.against) {
      Json::Value log;
      log["log"] = other.log;
      log["lines"] = JsonNumber(other.lineCount());
      if (!other.fault.empty()) log["fault"] = other.fault;
      item["against"].append(log);
    }
    for (const auto& [key, value] : suggestion.taking.result) item["result"][key] = value;
    root["suggestions"].append(item);
  }
  out << JsonLine(root) << '\n';
}

ExitStatus Run(Options& options) {
  options.request.range = RangeOf(options.lines);
  CheckReadableFile(options.request.log);
  if (!options.request.configDir.empty()) CheckRuleFiles(options.request.configDir);
  const std::vector<Suggestion> suggestions = Suggest(options.request);
  if (options.format == "json") {
    PrintAsJson(suggestions, std::cout);
  } else {
    PrintAsText(suggestions, OutputTakesColours(), std::cout);
  }
  if (!suggestions.empty()) return kSuccess;
  std::cerr << "kestrix: " << options.request.log
            << ": no rule could be made that takes these lines and that check has nothing to say about\n";
  return kNegative;
}

}  // namespace

void AddSuggest(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("suggest", "Make rules from lines of a log");
  const auto options = std::make_shared<Options>();
  options->request.eventType = "crash";
  AddLogOption(*command, options->request.log);
  command->add_option("--lines", options->lines, "The lines that the rules are to take, such as 99-131")
      ->type_name("N-M")
      ->required();
  AddEventOption(*command, options->request.eventType, "Event type of the rules, by default crash");
  command->add_option("--against", options->request.against, "Logs of which they should take little")->type_name("LOG");
  command
      ->add_option("--config", options->request.configDir,
                   "Directory of existing rules, whose names are not used again")
      ->type_name("DIR");
  AddFormatOption(*command, options->format, {"text", "json"});
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
