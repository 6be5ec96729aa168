#include <iostream>
#include <memory>
#include <string>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/explain/print_story.h"
#include "cli/explain/tell_story.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/output/json_text.h"
#include "cli/output/output_file.h"
#include "cli/rule_files/event_types.h"

namespace {

struct Options {
  Question question;
  size_t line = 0;
  bool asPageData = false;
  std::string format = "text";
  std::string file;  // empty: standard output
};

constexpr size_t kMaxPageVerdicts = 60'000;  // that a page holds for a run: 2,000 lines of 30 rules

constexpr char kExample[] =
    "Example:\n"
    "  kestrix explain crash.txt --config rules --event java_crash --key ROOT_CAUSE\n"
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
  if (options.asPageData) {
    out << JsonLine(StoryAsPageData(story)) << '\n';
  } else if (!story.askedKey.empty() && options.format == "json") {
    PrintKeyAsJson(story, story.askedKey, out);
  } else if (!story.askedKey.empty() && options.format == "text") {
    PrintKeyAsText(story, story.askedKey, inColour, out);
  } else if (options.format == "json") {
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
  if (!question.as.empty()) question.as = DevicePath(question.as, question.logName);
  CheckRuleFiles(question.configDir);
  CheckEventType(question.eventType, question.configDir);
  while (question.configDir.size() > 1 && question.configDir.ends_with('/')) question.configDir.pop_back();
  if (options.line > 0) question.line = options.line;
  if (options.format == "html" && !options.asPageData) question.verdicts = kMaxPageVerdicts;
  PrepareLibrary(question.hasPathTests);
  const Story story = TellStory(question);
  if (!question.rule.empty() && !HasRule(story, question.rule)) {
    throw InputError("--rule", "no rule " + question.rule + " is run for the event type " + question.eventType);
  }
  PrintTo(options.file, [&](bool inColour, std::ostream& out) { Print(story, options, inColour, out); });
  for (const std::string& fault : story.faults) std::cerr << "kestrix: internal error: " << fault << '\n';
  if (!story.faults.empty()) return kBadInput;
  return story.result.empty() ? kNegative : kSuccess;
}

}  // namespace

void AddExplain(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("explain", "Tell how the results of a log come about, or why they do not");
  const auto options = std::make_shared<Options>();
  command->add_option("LOG", options->question.logName, "The log file")->required();
  AddConfigOption(*command, options->question.configDir);
  AddEventOption(*command, options->question.eventType);
  command->add_option("--line", options->line, "Tell how each rule fared on this line of the log")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  command->add_option("--rule", options->question.rule, "Tell how this rule fared, on all lines or on that of --line")
      ->type_name("NAME");
  command
      ->add_option("--key", options->question.key,
                   "Tell why this result has its value, or is missing; on the page, begin there")
      ->type_name("KEY");
  command->add_flag("--page-data", options->asPageData)->group("");  // for kestrix live
  AddFormatOption(*command, options->format, {"text", "json", "html"});
  AddOutputOption(*command, options->file);
  AddPathTestOptions(*command, options->question.as, options->question.hasPathTests);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
