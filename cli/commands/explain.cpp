#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "cli/commands/commands.h"
#include "cli/explain/print_story.h"
#include "cli/explain/tell_story.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/output/output_file.h"
#include "cli/output/terminal.h"

namespace {

struct Options {
  Question question;
  size_t line = 0;
  std::string format = "text";
  std::string file;  // empty: standard output
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix explain crash.txt --config rules --event java_crash --rule process\n"
    "  kestrix explain crash.txt --config rules --event java_crash --format html -o crash.html\n"
    "\n"
    "Exit status: 0 results were found, 1 nothing was found, 2 wrong usage or input that cannot be read.";

bool HasRule(const Story& story, const std::string& name) {
  for (const RunStory& run : story.runs) {
    for (const RuleStory& rule : run.rules) {
      if (rule.name == name) return true;
    }
  }
  return false;
}

void Print(const Story& story, const Options& options, bool inColour, std::ostream& out) {
  if (options.format == "json") {
    PrintStoryAsJson(story, out);
  } else if (options.format == "html") {
    PrintStoryAsPage(story, out);
  } else {
    PrintStoryAsText(story, inColour, out);
  }
}

ExitStatus Run(const Options& options) {
  Question question = options.question;
  CheckReadableFile(question.logName);
  CheckRuleFiles(question.configDir);
  while (question.configDir.size() > 1 && question.configDir.ends_with('/')) question.configDir.pop_back();
  if (options.line > 0) question.line = options.line;
  PrepareLibrary(question.hasPathTests);
  const Story story = TellStory(question);
  if (!question.rule.empty() && !HasRule(story, question.rule)) {
    throw InputError("--rule", "no rule " + question.rule + " is run for the event type " + question.eventType);
  }
  if (options.file.empty()) {
    Print(story, options, OutputTakesColours(), std::cout);
  } else {
    std::ostringstream text;
    Print(story, options, false, text);
    WriteWholeFile(options.file, text.str());
  }
  for (const std::string& fault : story.faults) std::cerr << "kestrix: internal error: " << fault << '\n';
  if (!story.faults.empty()) return kBadInput;
  return story.result.empty() ? kNothingFound : kSuccess;
}

}  // namespace

void AddExplain(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("explain", "Tell how the results of a log come about, or why they do not");
  const auto options = std::make_shared<Options>();
  command->add_option("LOG", options->question.logName, "The log file, of at most 32 MiB")->required();
  command->add_option("--config", options->question.configDir, "Directory of match_rule.json and assemble_rule.json")
      ->type_name("DIR")
      ->required();
  command->add_option("--event", options->question.eventType, "Event type whose rules apply")
      ->type_name("TYPE")
      ->required();
  command->add_option("--line", options->line, "Tell how each rule fared on this line of the log")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  command->add_option("--rule", options->question.rule, "Tell how this rule fared, on all lines or on that of --line")
      ->type_name("NAME");
  command->add_option("--format", options->format, "How to tell it")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json", "html"}));
  command->add_option("-o,--output", options->file, "Write it to this file")->type_name("FILE");
  command->add_flag("--check-path", options->question.hasPathTests,
                    "Apply the rules' path tests as on the device; by default every path passes");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
