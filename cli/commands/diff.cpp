#include <iostream>
#include <memory>
#include <string>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/comparison_report.h"
#include "cli/fleet/replay.h"
#include "cli/output/output_file.h"

namespace {

struct Options {
  ReplayOptions replay;
  ComparedRules rules;
  std::string format = "text";
  std::string file;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix diff --old shipped --new rules --event java_crash logs --format html -o diff.html\n"
    "\n"
    "Exit status: 0 nothing moved, 1 something moved or a log failed, 2 wrong usage or rule files that "
    "cannot be read.";

void Print(const Comparison& comparison, const Options& options, bool inColour, std::ostream& out) {
  if (options.format == "json") {
    PrintAsJson(comparison, options.rules, out);
  } else if (options.format == "html") {
    PrintAsHtml(comparison, options.rules, out);
  } else {
    PrintAsText(comparison, options.rules, inColour, out);
  }
}

ExitStatus Run(Options options) {
  options.rules.event = options.replay.logs.event;
  Comparison comparison;
  const auto finds = [](const Fields& fields) { return !fields.empty(); };
  const auto add = [&comparison](const LogEntry& log, const std::vector<Reply>& replies) {
    comparison.add(log.path, ResultOf(replies[0]), ResultOf(replies[1]));
  };
  Replay(options.replay, {options.rules.before, options.rules.after}, {AnalyzeToFields, finds, add});
  PrintTo(options.file, [&](bool inColour, std::ostream& out) { Print(comparison, options, inColour, out); });
  return comparison.isMoved() || !comparison.faulty().empty() ? kNegative : kSuccess;
}

}  // namespace

void AddDiff(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("diff", "Tell what an edit of the rules changes in the results of logs");
  const auto options = std::make_shared<Options>();
  AddReplayOptions(*command, options->replay);
  AddRulesOption(*command, "--old", options->rules.before, "Directory of the rule files as they were");
  AddRulesOption(*command, "--new", options->rules.after, "Directory of the rule files as they are to be");
  AddFormatOption(*command, options->format, {"text", "json", "html"});
  AddOutputOption(*command, options->file);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
