#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/comparison_report.h"
#include "cli/fleet/explanation_pages.h"
#include "cli/fleet/replay.h"
#include "cli/output/output_file.h"

namespace {

struct Options {
  ReplayOptions replay;
  ComparedRules rules;
  GroupingOptions grouping;
  std::string format = "text";
  std::string file;
  std::string explanations;
  bool like = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix diff --old shipped --new rules --event java_crash logs --format html -o diff.html --explain pages\n"
    "\n"
    "Exit status: 0 nothing moved, 1 something moved or a log failed, 2 wrong usage or rule files that "
    "cannot be read.";

void Print(const Comparison& comparison, const Options& options, const std::vector<LogPages>& pages, bool inColour,
           std::ostream& out) {
  if (options.format == "json") {
    PrintAsJson(comparison, options.rules, out);
  } else if (options.format == "html") {
    PrintAsHtml(comparison, options.rules, pages, out);
  } else {
    PrintAsText(comparison, options.rules, inColour, out);
  }
}

// Two for each log that differs.
std::vector<LogPages> Explain(const std::vector<LogEntry>& logs, const ComparedRules& rules,
                              const ExplanationOptions& explanations) {
  std::vector<LogRun> runs;
  for (const LogEntry& log : logs) runs.insert(runs.end(), {{log, rules.before}, {log, rules.after}});
  const std::vector<std::string> links = WriteExplanations(runs, explanations);
  std::vector<LogPages> pages;
  for (size_t i = 0; i < links.size(); i += 2) pages.push_back({links[i], links[i + 1]});
  return pages;
}

ExitStatus Run(Options options) {
  const ExplanationOptions explanations{options.explanations, options.file, options.replay.checkPath,
                                        options.replay.workers};
  CheckExplanations(explanations, options.format);
  CheckOutput(options.file);
  options.rules.event = options.replay.logs.event;
  std::vector<LogEntry> changed;
  Comparison comparison(GroupingOf(options.grouping, options.replay.logs.paths));
  const auto finds = [](const Fields& fields) { return !fields.empty(); };
  const auto add = [&](const LogEntry& log, const std::vector<Reply>& replies) {
    const size_t known = comparison.changed().size();
    comparison.add(log.path, ResultOf(replies[0]), ResultOf(replies[1]));
    if (comparison.changed().size() > known) changed.push_back(log);
  };
  Replay(options.replay, {options.rules.before, options.rules.after}, {AnalyzeToFields, finds, add});
  if (options.like) comparison.findAlike();
  std::vector<LogPages> pages;
  if (!options.explanations.empty()) pages = Explain(changed, options.rules, explanations);
  PrintTo(options.file, [&](bool inColour, std::ostream& out) { Print(comparison, options, pages, inColour, out); });
  return comparison.isMoved() || !comparison.faulty().empty() ? kNegative : kSuccess;
}

}  // namespace

void AddDiff(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("diff", "Tell what an edit of the rules changes in the results of logs");
  const auto options = std::make_shared<Options>();
  AddReplayOptions(*command, options->replay);
  AddRulesOption(*command, "--old", options->rules.before, "Directory of the rule files as they were");
  AddRulesOption(*command, "--new", options->rules.after, "Directory of the rule files as they are to be");
  AddGroupingOptions(*command, options->grouping);
  AddLikeOption(*command, options->like, "under the new rules, and how many do under either");
  AddFormatOption(*command, options->format, {"text", "json", "html"});
  AddOutputOption(*command, options->file, options->format);
  command
      ->add_option("--explain", options->explanations,
                   "With --format html -o FILE: a folder to write the explanation of each log that differs to, under "
                   "both rules; the page links to it")
      ->type_name("DIR");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
