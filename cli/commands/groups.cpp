#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/group_report.h"
#include "cli/fleet/group_text.h"
#include "cli/fleet/line_input.h"
#include "cli/library/input.h"
#include "cli/library/no_fingerprint.h"
#include "cli/output/output_file.h"
#include "cli/output/terminal.h"
#include "stack/stack_tables.h"

namespace {

struct Options {
  std::vector<std::string> files = {"-"};
  GroupingOptions grouping;
  std::string format = "text";
  std::string file;   // empty: standard output
  std::string since;  // the results of an earlier run; empty: none
  bool stability = false;
  bool suggestSkip = false;
  bool like = false;
  std::string configDir;     // of the rules, for explanations
  std::string explanations;  // folder of their pages; empty: none
};

constexpr size_t kMaxComplaints = 10;  // about single lines
constexpr size_t kMaxExamples = 20;    // of a group on a page

constexpr char kExample[] =
    "Example:\n"
    "  kestrix batch --config rules --event java_crash logs | kestrix groups\n"
    "  kestrix groups results.ndjson --by PROCESS --top 2 --skip frames.skip\n"
    "  kestrix groups today.ndjson --since yesterday.ndjson\n"
    "  kestrix groups results.ndjson --format html -o groups.html --explain pages --config rules\n"
    "\n"
    "Exit status: 0 there are groups, 1 there is none or a line cannot be read, 2 wrong usage or a file that cannot be "
    "read.";

std::optional<std::string> ValueOf(const ResultLine& line, GroupReport& report) {
  return report.grouping.valueOf([&line](std::string_view key) { return line.result(key); });
}

// A log of an earlier run.
void AddBefore(const ResultLine& line, GroupReport& report) {
  const auto value = ValueOf(line, report);
  if (!value) return;
  report.table.addBefore(*value, line);
  ++report.groupedBefore;
}

void Add(const ResultLine& line, GroupReport& report) {
  if (line.isFailed()) {
    ++report.failed;
    return;
  }
  const auto value = ValueOf(line, report);
  if (value) {
    report.table.add(*value, line);
    ++report.grouped;
  } else if (report.grouping.isByFingerprint() && line.result(kFingerprintKey) == kNoFingerprint) {
    ++report.empty;
  } else {
    ++report.without;
  }
}

// Returns how many lines cannot be read.
size_t Read(const std::vector<std::string>& files, const std::function<void(const ResultLine& line)>& add) {
  size_t unreadable = 0;
  ResultLine result;
  for (const std::string& file : files) {
    LineInput lines(file);
    for (std::string_view line; lines.next(line);) {
      if (line.empty()) continue;
      if (result.read(line)) {
        add(result);
      } else if (++unreadable <= kMaxComplaints) {
        std::cerr << "kestrix: " << lines.name() << ":" << lines.number() << ": not a line of kestrix batch\n";
      }
    }
  }
  if (unreadable > kMaxComplaints) {
    std::cerr << "kestrix: and " << Counted(unreadable - kMaxComplaints, "more line") << " not of kestrix batch\n";
  }
  return unreadable;
}

size_t Print(GroupReport& report, const Options& options, std::ostream& out) {
  const std::string& format = options.format;
  if (options.suggestSkip) return PrintSkipSuggestions(report, out);
  if (format == "json") return PrintGroupsAsJson(report, out);
  if (format == "html") return PrintGroupsAsHtml(report, out);
  return PrintGroupsAsText(report, out);
}

ExitStatus Run(const Options& options) {
  const bool isPage = options.format == "html";
  const ExplanationOptions explanations{options.explanations, options.file, false, {}};
  CheckExplanations(explanations, options.format);
  CheckOutput(options.file);
  if (!options.explanations.empty()) CheckRuleFiles(options.configDir);
  std::vector<std::string> inputs = options.files;
  inputs.push_back(options.since);
  Grouping grouping = GroupingOf(options.grouping, inputs);
  const bool needsStack = isPage || options.stability || options.suggestSkip || options.like;
  const size_t frames = grouping.isByFrames() ? 0 : kTopFrames;  // the value of the group has them
  GroupReport report(std::move(grouping), isPage ? kMaxExamples : 0, needsStack ? GroupTable::kWholeStack : frames);
  report.stability = options.stability;
  report.like = options.like;
  report.isSince = !options.since.empty();
  report.configDir = options.configDir;
  report.explanations = explanations;
  size_t unreadable = 0;
  if (report.isSince)
    unreadable += Read({options.since}, [&report](const ResultLine& line) { AddBefore(line, report); });
  unreadable += Read(options.files, [&report](const ResultLine& line) { Add(line, report); });
  size_t groups = 0;
  PrintTo(options.file, [&](bool /*inColour*/, std::ostream& out) { groups = Print(report, options, out); });
  return groups == 0 || unreadable > 0 ? kNegative : kSuccess;
}

}  // namespace

void AddGroups(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("groups", "Count which logs of kestrix batch fail alike");
  const auto options = std::make_shared<Options>();
  command->add_option("FILE", options->files, "What kestrix batch printed; by default - for standard input")
      ->type_name("");
  AddGroupingOptions(*command, options->grouping);
  AddFormatOption(*command, options->format, {"text", "json", "html"});
  AddOutputOption(*command, options->file, options->format);
  CLI::Option* config =
      command->add_option("--config", options->configDir, "Directory of the rule files, for the explanations")
          ->type_name("DIR");
  command
      ->add_option("--explain", options->explanations,
                   "With --format html -o FILE: a folder to write the explanation of each group's first logs to; the "
                   "page links to it")
      ->type_name("DIR")
      ->needs(config);
  CLI::Option* since =
      command
          ->add_option("--since", options->since,
                       "Tell which groups are new, growing and gone since an earlier run, of which this file has what "
                       "kestrix batch printed")
          ->type_name("OLD");
  command
      ->add_flag("--stability", options->stability,
                 "Show which groups would merge if times, line numbers and the like were masked, or with fewer frames")
      ->excludes("--by", "--top", "--skip")
      ->excludes(since);
  AddLikeOption(*command, options->like, "below them, those of the 5000 largest");
  command
      ->add_flag("--suggest-skip", options->suggestSkip,
                 "Print, in place of groups, frames that head three groups or more which have little in common below "
                 "them, as lines of a file for --skip")
      ->excludes("--by", "--top", "--stability", "--like", "--format")
      ->excludes(since);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
