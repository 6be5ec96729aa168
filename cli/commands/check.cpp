#include <android/log.h>
#include <sys/stat.h>

#include <iostream>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "cli/check/checks.h"
#include "cli/check/finding_codes.h"
#include "cli/check/report.h"
#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/library/input.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/path_reason.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/schema.h"
#include "cli/rule_files/spelling.h"
#include "rules/match_rule.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"

namespace {

struct Options {
  std::string rules;
  std::string assembleFile;
  std::string asFile;
  std::string config;
  std::string logPath;
  std::string format = "text";
  std::string why;
  std::string print;
  bool isStrict = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix check rules\n"
    "\n"
    "Exit status: 0 clean, 1 findings that count (errors; with --strict warnings too), 2 wrong usage or files that "
    "cannot be read.";

bool IsDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Both files of a check.
struct RuleFiles {
  std::unique_ptr<JsonFile> match;
  std::unique_ptr<JsonFile> assemble;
};

std::string WithoutSlashes(std::string dir) {
  while (dir.size() > 1 && dir.ends_with('/')) dir.pop_back();
  return dir;
}

// One file from standard input, the other one from the directory that is named, if any.
RuleFiles FilesFromInput(const Options& options) {
  if (options.asFile.empty()) throw CLI::ValidationError("-", "needs --as-file, to say which file this is");
  std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  auto given = std::make_unique<JsonFile>(options.asFile, std::move(text));
  auto other = std::make_unique<JsonFile>();
  const std::string dir = WithoutSlashes(options.config);
  const bool isMatch = MatchRuleFile("").ends_with(options.asFile);
  if (!dir.empty()) other = std::make_unique<JsonFile>(isMatch ? AssembleRuleFile(dir) : MatchRuleFile(dir));
  if (isMatch) return {std::move(given), std::move(other)};
  return {std::move(other), std::move(given)};
}

RuleFiles FilesOf(const Options& options) {
  if (options.rules == "-") return FilesFromInput(options);
  std::string matchPath = options.rules;
  std::string assemblePath = options.assembleFile;
  if (assemblePath.empty()) {
    const std::string dir = WithoutSlashes(options.rules);
    if (!IsDirectory(dir)) throw InputError(dir, "is not a directory; name one, or both rule files");
    matchPath = MatchRuleFile(dir);
    assemblePath = AssembleRuleFile(dir);
  }
  return {std::make_unique<JsonFile>(matchPath), std::make_unique<JsonFile>(assemblePath)};
}

// Which entries take a log at that path of the device, and why others do not.
std::string AnswerTo(const std::string& logPath, const PlacedEntry& entry) {
  const std::string& dirOrFile = entry.dirOrFile.text();
  const std::string& paths = entry.subcataLog.text();
  if (dirOrFile.empty()) return "not read: it has no \"dirOrFile\"";
  if (entry.ids.empty()) return "not read: it has no \"featureId\"";
  if (paths.empty()) {
    return dirOrFile == logPath ? "takes it" : "reads " + Quoted(dirOrFile) + " instead, whatever the log's path is";
  }
  if (!FileUtil::IsLegalPath(logPath)) return "refuses it: the library reads no path with \"./\" in it";
  try {
    for (const Piece& path : PiecesOf(paths, std::string(kOrMark))) {
      if (FollowSegments(logPath, dirOrFile, path.text) == logPath) return "takes it";
    }
    return "refuses it: " + WhyPathRefused(logPath, dirOrFile, paths);
  } catch (const std::regex_error&) {
    return "ends the device process: an expression of its path test is invalid";
  }
}

void PrintEntriesFor(const std::string& logPath, const RuleModel& model) {
  const LineIndex lines(model.matchFile.text);
  std::cout << "A log at " << Quoted(LineForPeople(logPath)) << ":\n";
  for (const PlacedEntry& entry : model.entries) {
    std::string ids;
    for (const PlacedId& id : entry.ids) ids += (ids.empty() ? "" : ", ") + id.id;
    std::cout << "  " << LineForPeople(entry.key) << " (" << LineForPeople(model.matchFile.path) << ":"
              << lines.placeOf(entry.keySpan.begin).line << (ids.empty() ? "" : "; ") << LineForPeople(ids)
              << "): " << LineForPeople(AnswerTo(logPath, entry)) << '\n';
  }
}

ExitStatus CheckFiles(const Options& options) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  if (!options.logPath.empty() && options.format != "text") {
    throw CLI::ValidationError("--as", "goes with the format \"text\" only");
  }
  const RuleFiles files = FilesOf(options);
  const RuleModel model(*files.match, *files.assemble);
  const std::vector<Finding> findings = CheckRules(model);
  if (options.format == "json") {
    PrintAsJson(findings, std::cout);
  } else if (options.format == "sarif") {
    PrintAsSarif(findings, std::cout);
  } else {
    PrintAsText(findings, OutputTakesColours(), std::cout);
  }
  if (!options.logPath.empty()) PrintEntriesFor(options.logPath, model);
  const bool fails = CountOf(findings, Severity::kError) > 0 || (options.isStrict && !findings.empty());
  return fails ? kNegative : kSuccess;
}

ExitStatus ExplainCode(const std::string& name) {
  if (const FindingCode* code = FindFindingCode(name)) {
    PrintWhy(*code, std::cout);
    return kSuccess;
  }
  std::vector<std::string> names;
  for (const FindingCode& code : AllFindingCodes()) names.emplace_back(code.name);
  throw InputError(
      "--why", "there is no code " + Quoted(name) + DidYouMean(NearestTo(name, names)) + "; --print codes lists them");
}

ExitStatus Print(const std::string& what) {
  if (what == "codes") {
    PrintCodesAsMarkdown(std::cout);
  } else {
    std::cout << SchemaOf(what == "match-schema" ? ObjectKind::kMatchRoot : ObjectKind::kAssembleRoot);
  }
  return kSuccess;
}

ExitStatus Run(const Options& options) {
  if (!options.why.empty()) return ExplainCode(options.why);
  if (!options.print.empty()) return Print(options.print);
  if (options.rules.empty()) throw CLI::RequiredError("DIR");
  return CheckFiles(options);
}

}  // namespace

void AddCheck(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("check", "Find the mistakes in rule files");
  const auto options = std::make_shared<Options>();
  command
      ->add_option("DIR", options->rules,
                   DirectoryOfRules() + ", or a match rule file, or \"-\" for one rule file on standard input")
      ->type_name("");
  command->add_option("FILE", options->assembleFile, "The assemble rule file, when the first names a match rule file")
      ->type_name("");
  command->add_option("--as-file", options->asFile, "With \"-\": which of the two files is read")
      ->type_name("NAME")
      ->check(CLI::IsMember({kMatchFileName, kAssembleFileName}));
  command->add_option("--config", options->config, "With \"-\": the directory of the other rule file")
      ->type_name("DIR");
  command
      ->add_option("--as", options->logPath,
                   "Say which entries take a log at this path of the device, and why others do not")
      ->type_name("PATH");
  AddFormatOption(*command, options->format, {"text", "json", "sarif"});
  command->add_flag("--strict", options->isStrict, "Let warnings count like errors");
  command->add_option("--why", options->why, "Explain the finding of this code, with a wrong and a right example")
      ->type_name("CODE");
  command
      ->add_option("--print", options->print,
                   "Print the list of all codes, or the JSON Schema of one of the files, for an editor")
      ->type_name("WHAT")
      ->check(CLI::IsMember({"codes", "match-schema", "assemble-schema"}));
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
