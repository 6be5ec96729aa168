#include <android/log.h>
#include <sys/stat.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/check/checks.h"
#include "cli/check/finding_codes.h"
#include "cli/check/report.h"
#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/library/input.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/schema.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"

namespace {

struct Options {
  std::string rules;
  std::string assembleFile;
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

std::vector<Finding> Check(const std::string& matchPath, const std::string& assemblePath, const Options& options) {
  const JsonFile matchFile(matchPath);
  const JsonFile assembleFile(assemblePath);
  std::vector<Finding> sorted = CheckRules(RuleModel(matchFile, assembleFile));
  if (options.format == "json") {
    PrintAsJson(sorted, std::cout);
  } else if (options.format == "sarif") {
    PrintAsSarif(sorted, std::cout);
  } else {
    PrintAsText(sorted, OutputTakesColours(), std::cout);
  }
  return sorted;
}

ExitStatus CheckFiles(const Options& options) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  std::string matchPath = options.rules;
  std::string assemblePath = options.assembleFile;
  if (assemblePath.empty()) {
    std::string dir = options.rules;
    if (!IsDirectory(dir)) throw InputError(dir, "is not a directory; name one, or both rule files");
    while (dir.ends_with('/')) dir.pop_back();
    matchPath = MatchRuleFile(dir);
    assemblePath = AssembleRuleFile(dir);
  }
  const std::vector<Finding> findings = Check(matchPath, assemblePath, options);
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
      ->add_option("DIR", options->rules, "Directory of match_rule.json and assemble_rule.json, or a match rule file")
      ->type_name("");
  command->add_option("FILE", options->assembleFile, "The assemble rule file, when the first names a match rule file")
      ->type_name("");
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
