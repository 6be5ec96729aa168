#include "cli/lsp/diagnostics.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "cli/check/checks.h"
#include "cli/lsp/features.h"
#include "cli/lsp/names.h"
#include "cli/output/utf8.h"
#include "regex/regex.h"

namespace {

constexpr std::chrono::seconds kTimeLimit(10);
constexpr char kDescriptions[] = "checks.md";
constexpr size_t kFieldsOfAProblem = 9;

// The findings as a worker hands them over: both texts are in the request.
Fields ReportFindings(const Fields& request) {
  static RuleCheck check;  // of the worker
  const RuleSnapshot rules(request[0], request[1], request[2]);
  Fields fields;
  for (const Finding& finding : check.check(rules.model)) {
    const FindingCode& code = DescriptionOf(finding.code);
    const auto number = [](size_t value) { return std::to_string(value); };
    fields.insert(fields.end(), {finding.file == &rules.matchFile ? "match" : "assemble", std::string(code.name),
                                 finding.severity == Severity::kError ? "error" : "warning", number(finding.span.begin),
                                 number(finding.span.end), ValidUtf8(finding.message)});
    if (finding.fix) {
      fields.insert(fields.end(), {number(finding.fix->span.begin), number(finding.fix->span.end), finding.fix->text});
    } else {
      fields.insert(fields.end(), {"", "", ""});
    }
  }
  return fields;
}

std::vector<Problem> ProblemsOf(const Fields& fields) {
  std::vector<Problem> problems;
  for (size_t i = 0; i + kFieldsOfAProblem <= fields.size(); i += kFieldsOfAProblem) {
    Problem problem{
        fields[i] == "match" ? FileKind::kMatch : FileKind::kAssemble, fields[i + 1], fields[i + 2] == "error",
        {std::stoul(fields[i + 3]), std::stoul(fields[i + 4])},        fields[i + 5], std::nullopt};
    if (!fields[i + 6].empty()) {
      problem.fix = Fix{{std::stoul(fields[i + 6]), std::stoul(fields[i + 7])}, fields[i + 8]};
    }
    problems.push_back(std::move(problem));
  }
  return problems;
}

// The address of the page that describes the findings: where it is installed beside the program, or in the tree in
// which the program was built. Empty when it is not there.
std::string FindDescriptions() {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  const fs::path installed = program.parent_path().parent_path() / "share/doc/kestrix" / kDescriptions;
  if (fs::exists(installed, error)) return UriOf(installed.string());
  for (fs::path folder = program.parent_path(); folder.has_relative_path(); folder = folder.parent_path()) {
    if (fs::exists(folder / "docs" / kDescriptions, error)) return UriOf((folder / "docs" / kDescriptions).string());
  }
  return "";
}

// A place that the message speaks of: "in line 12".
Json::Value RelatedOf(Project& project, FileKind file, const std::string& message) {
  static Regex lineNumber(R"(\bline (\d{1,7})\b)");
  Regex::Match match;
  Json::Value related(Json::arrayValue);
  if (!lineNumber.search(message, match)) return related;
  const TextDocument& document = project.document(file);
  const size_t line = std::stoul(std::string(match.group)) - 1;
  const Span span{document.offsetOf({line, 0}), document.offsetOf({line, static_cast<size_t>(-1)})};
  Json::Value place;
  place["location"]["uri"] = project.uri(file);
  place["location"]["range"] = RangeJson(document, span);
  place["message"] = "this line";
  related.append(place);
  return related;
}

}  // namespace

Json::Value DiagnosticOf(Project& project, const Problem& problem) {
  Json::Value diagnostic;
  diagnostic["range"] = RangeJson(project.document(problem.file), problem.span);
  diagnostic["severity"] = problem.isError ? 1 : 2;
  diagnostic["code"] = problem.code;
  static const std::string descriptions = FindDescriptions();
  if (!descriptions.empty()) diagnostic["codeDescription"]["href"] = descriptions + "#" + problem.code;
  diagnostic["source"] = "kestrix";
  diagnostic["message"] = problem.message;
  const Json::Value related = RelatedOf(project, problem.file, problem.message);
  if (!related.empty()) diagnostic["relatedInformation"] = related;
  return diagnostic;
}

Checker::Checker() : pool_(1, kTimeLimit, ReportFindings) {}

std::vector<Problem> Checker::check(Project& project) {
  bool isAsked = false;
  std::vector<Problem> problems;
  pool_.run(
      [&](Fields& request) {
        if (isAsked) return WorkerPool::Next::kEnd;
        isAsked = true;
        request = {project.folder(), project.document(FileKind::kMatch).text(),
                   project.document(FileKind::kAssemble).text()};
        return WorkerPool::Next::kRequest;
      },
      [&](const Fields&, const Reply& reply) {
        problems = ProblemsOf(reply.fields);
        if (reply.fault.empty()) return;
        problems.push_back({FileKind::kMatch, "check-failed", true, {0, 1}, "the checks failed: " + reply.fault, {}});
      });
  return problems;
}

Json::Value DiagnosticsOf(Project& project, FileKind file, const std::vector<Problem>& problems) {
  Json::Value list(Json::arrayValue);
  for (const Problem& problem : problems) {
    if (problem.file == file) list.append(DiagnosticOf(project, problem));
  }
  return list;
}
