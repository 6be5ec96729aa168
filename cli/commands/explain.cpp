#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cli/check/wrong_type.h"
#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/explain/json_story.h"
#include "cli/explain/make_story.h"
#include "cli/explain/page_story.h"
#include "cli/explain/text_story.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/json_text.h"
#include "cli/output/lines.h"
#include "cli/output/output_file.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/event_types.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"

namespace {

struct Options {
  Question question;
  size_t line = 0;
  bool asPageData = false;
  std::string format = "text";
  std::string file;  // empty: standard output
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix explain crash.txt --config rules --event java_crash --key ROOT_CAUSE\n"
    "  kestrix explain crash.txt --config rules --event java_crash --rule process\n"
    "  kestrix explain crash.txt --config rules --event java_crash --format html -o crash.html\n"
    "\n"
    "Exit status: 0 results were found, 1 nothing was found, 2 wrong usage or input that cannot be read.";

bool HasRule(const Story& story, const std::string& name) {
  return std::any_of(story.runs.begin(), story.runs.end(), [&name](const RunStory& run) {
    return std::any_of(run.rules.begin(), run.rules.end(),
                       [&name](const RuleStory& rule) { return rule.name == name; });
  });
}

// Keeps the stories with the rule. Throws InputError when there is none.
void KeepThoseWithRule(const std::string& name, const std::vector<std::string>& eventTypes,
                       std::vector<Story>& stories) {
  std::set<std::string> names;
  for (const Story& story : stories) {
    for (const RunStory& run : story.runs) {
      for (const RuleStory& rule : run.rules) names.insert(rule.name);
    }
  }
  std::erase_if(stories, [&name](const Story& story) { return !HasRule(story, name); });
  if (!stories.empty()) return;
  const std::vector<std::string> run(names.begin(), names.end());
  const std::string nearest = NearestTo(name, run);
  throw InputError("--rule", "no rule " + Quoted(name) + " is run for the event type" +
                                 (eventTypes.size() == 1 ? " " : "s ") + Listed(eventTypes) + DidYouMean(nearest) +
                                 (nearest.empty() ? "; " : " ") +
                                 (run.empty() ? "none is run" : "run are " + Listed(run)));
}

// Throws InputError when the log has fewer lines.
void CheckLine(size_t line, const std::string& path, const std::string& name) {
  std::string text;
  if (line == 0 || !FileUtil::LoadStringFromFile(path, text)) return;
  size_t count = 0;
  ForEachLine(text, [&count](size_t number, std::string_view) { count = number; });
  if (line > count) throw InputError("--line", name + " has " + Counted(count, "line"));
}

// Of the event types those under which most is found first, without those that find nothing; all when all do.
std::vector<std::string> FindingMost(const std::vector<std::string>& types, const Question& question) {
  std::multimap<size_t, std::string, std::greater<>> found;
  AnalyzedLog log(question.logFile);
  if (!question.as.empty()) log = {question.as, question.logFile};
  CompiledRules rules(question.configDir);
  const auto call = [&] {
    for (const std::string& type : types) {
      if (const size_t keys = rules.analysis(log, type, nullptr).size(); keys > 0) found.emplace(keys, type);
    }
  };
  CallOrEnd({question.configDir, WrongTypeInRules}, call, [&question] { return MatchRuleFile(question.configDir); });
  if (found.empty()) return types;
  std::vector<std::string> finding;
  for (const auto& [keys, type] : found) finding.push_back(type);
  return finding;
}

void Print(const Story& story, const Options& options, bool inColour, std::ostream& out) {
  if (options.asPageData) {
    out << JsonLine(StoryAsPageData(story)) << '\n';
  } else if (!story.askedKey.empty() && options.format == "json") {
    out << JsonPage(KeyAsJson(story, story.askedKey));
  } else if (!story.askedKey.empty() && options.format == "text") {
    PrintKeyAsText(story, story.askedKey, inColour, out);
  } else if (options.format == "json") {
    out << JsonPage(StoryAsJson(story));
  } else if (options.format == "html") {
    PrintStoryAsPage(story, out);
  } else {
    PrintStoryAsText(story, inColour, out);
  }
}

// The stories of all event types that come into question.
std::vector<Story> MakeStories(Question question, const Options& options) {
  std::vector<std::string> types = EventTypesToTry(question.eventType, question.configDir);
  const std::vector<std::string> tried = types;
  if (types.size() > 1 && question.rule.empty()) types = FindingMost(types, question);
  if (types.size() > 1 && options.format == "html") {
    std::cerr << "kestrix: the page is that of the event type " << types[0] << "; --event chooses another one of "
              << Listed(types) << '\n';
    types.resize(1);
  }
  std::vector<Story> stories;
  for (const std::string& type : types) {
    question.eventType = type;
    stories.push_back(MakeStory(question));
  }
  if (!question.rule.empty()) KeepThoseWithRule(question.rule, tried, stories);
  return stories;
}

void PrintAll(const std::vector<Story>& stories, const Options& options, bool inColour, std::ostream& out) {
  const Question& asked = options.question;
  const bool isPart = options.line > 0 || !asked.rule.empty() || !asked.key.empty();
  for (size_t i = 0; i < stories.size(); ++i) {
    if (stories.size() > 1 && options.format == "text") {
      if (i > 0) out << '\n';
      if (isPart) out << Painted(inColour, "1", LineForPeople(stories[i].eventType)) << '\n';
    }
    Print(stories[i], options, inColour, out);
  }
}

ExitStatus Run(const Options& options) {
  Question question = options.question;
  if (question.hasPathTests) CheckLogPlace(question.logName);
  const LogFile file = LogFile::ofArgument(question.logName, false);
  question.logFile = file.path();
  if (!question.as.empty()) question.as = DevicePath(question.as, question.logName);
  CheckRuleFiles(question.configDir);
  CheckLine(options.line, file.path(), question.logName);
  while (question.configDir.size() > 1 && question.configDir.ends_with('/')) question.configDir.pop_back();
  if (options.line > 0) question.line = options.line;
  if (options.format == "html" && !options.asPageData) question.verdicts = kMaxPageVerdicts;
  PrepareLibrary(question.hasPathTests);
  const std::vector<Story> stories = MakeStories(question, options);
  PrintTo(options.file, [&](bool inColour, std::ostream& out) { PrintAll(stories, options, inColour, out); });
  ExitStatus status = kNegative;
  for (const Story& story : stories) {
    for (const std::string& fault : story.faults) std::cerr << "kestrix: internal error: " << fault << '\n';
    if (!story.faults.empty()) return kBadInput;
    if (!story.result.empty()) status = kSuccess;
  }
  return status;
}

}  // namespace

void AddExplain(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("explain", "Tell how the results of a log come about, or why they do not");
  const auto options = std::make_shared<Options>();
  AddAnyLogOption(*command, options->question.logName);
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
  AddOutputOption(*command, options->file, options->format);
  AddPathTestOptions(*command, options->question.as, options->question.hasPathTests);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
