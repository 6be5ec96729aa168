#include <utility>

#include "cli/check/allowances.h"
#include "cli/check/checks.h"

std::vector<Finding> CheckRules(const RuleModel& model) {
  Findings findings;
  if (model.matchFile.isGiven) CheckStructure(model.matchFile, ObjectKind::kMatchRoot, findings);
  if (model.assembleFile.isGiven) CheckStructure(model.assembleFile, ObjectKind::kAssembleRoot, findings);
  // Where two know of one mistake, the first says more about it.
  for (const auto check : {CheckFeatures, CheckPaths, CheckMarks, CheckKeyWords, CheckValues, CheckExpressions,
                           CheckRecords, CheckResults}) {
    check(model, findings);
  }
  std::vector<Finding> all = findings.sorted(model.matchFile);
  ApplyAllowances(model.matchFile, all);
  ApplyAllowances(model.assembleFile, all);
  Findings left;
  for (Finding& finding : all) left.add(std::move(finding));
  return left.sorted(model.matchFile);
}
