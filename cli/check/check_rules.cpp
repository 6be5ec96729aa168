#include <algorithm>
#include <utility>

#include "cli/check/allowances.h"
#include "cli/check/checks.h"
#include "cli/output/lines.h"

namespace {

// From its key to the end of its object.
Span SpanOf(const RuleModel& model, const PlacedEntry& entry) {
  return {entry.keySpan.begin, model.matchFile.tree.find(entry.key)->value.span.end};
}

// The texts that the findings in an entry follow from.
std::string TextsOf(const RuleModel& model, const PlacedEntry& entry, Span span) {
  std::string texts = model.matchFile.text.substr(span.begin, span.end - span.begin);
  for (const PlacedId& id : entry.ids) {
    const PlacedTemplates* templates = model.templatesOf(id);
    texts += templates == nullptr ? "\n-" : "\n+";
    if (templates == nullptr) continue;
    for (const PlacedTemplate& result : templates->templates) texts += "\n" + result.key + "\n" + result.text.text();
  }
  return texts;
}

// The places of an entry counted from `begin` on, and back. Unsigned, so that a place in front of it comes back, too.
Finding Moved(Finding finding, size_t distance) {
  const auto move = [distance](Span& span) { span = {span.begin + distance, span.end + distance}; };
  move(finding.span);
  if (finding.fix) move(finding.fix->span);
  return finding;
}

bool NamesLine(const Finding& finding) { return finding.message.find("line ") != std::string::npos; }

bool IsIn(const Finding& finding, const JsonFile& file, Span span) {
  return finding.file == &file && span.begin <= finding.span.begin && finding.span.end <= span.end;
}

}  // namespace

void RuleCheck::checkEntry(const RuleModel& model, const PlacedEntry& entry, size_t line, Findings& findings) {
  const Span span = SpanOf(model, entry);
  const std::string texts = TextsOf(model, entry, span);
  const auto known = known_.find(texts);
  const bool isKnown =
      known != known_.end() && (known->second.line == line ||
                                std::none_of(known->second.findings.begin(), known->second.findings.end(), NamesLine));
  if (isKnown) {
    for (Finding finding : known->second.findings) {
      finding.file = &model.matchFile;
      findings.add(Moved(std::move(finding), span.begin));
    }
    next_[texts] = {line, std::move(known->second.findings)};
    return;
  }
  const RuleModel one(model, entry);
  Findings fresh;
  // Where two know of one mistake, the first says more about it.
  for (const auto check : {CheckPaths, CheckMarks, CheckKeyWords, CheckValues, CheckMeaning, CheckExpressions})
    check(one, fresh);
  EntryFindings found{line, {}};
  bool isWhole = true;
  for (const Finding& finding : fresh.sorted(model.matchFile)) {
    findings.add(finding);
    found.findings.push_back(Moved(finding, 0 - span.begin));
    isWhole = isWhole && IsIn(finding, model.matchFile, span);
  }
  if (isWhole) next_[texts] = std::move(found);
}

std::vector<Finding> RuleCheck::check(const RuleModel& model) {
  Findings findings;
  if (model.matchFile.isGiven) CheckStructure(model.matchFile, ObjectKind::kMatchRoot, findings);
  if (model.assembleFile.isGiven) CheckStructure(model.assembleFile, ObjectKind::kAssembleRoot, findings);
  CheckFeatures(model, findings);
  for (const PlacedEntry& entry : model.entries) {
    checkEntry(model, entry, model.matchLines->placeOf(entry.keySpan.begin).line, findings);
  }
  known_ = std::exchange(next_, {});
  CheckRecords(model, findings);
  CheckResults(model, findings);
  std::vector<Finding> all = findings.sorted(model.matchFile);
  ApplyAllowances(model.matchFile, all);
  ApplyAllowances(model.assembleFile, all);
  Findings left;
  for (Finding& finding : all) left.add(std::move(finding));
  return left.sorted(model.matchFile);
}
