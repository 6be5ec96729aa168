#include "cli/check/checks.h"

std::vector<Finding> CheckRules(const RuleModel& model) {
  Findings findings;
  CheckStructure(model.matchFile, ObjectKind::kMatchRoot, findings);
  CheckStructure(model.assembleFile, ObjectKind::kAssembleRoot, findings);
  // Where two know of one mistake, the first says more about it.
  for (const auto check : {CheckFeatures, CheckPaths, CheckMarks, CheckKeyWords, CheckValues, CheckExpressions,
                           CheckRecords, CheckResults}) {
    check(model, findings);
  }
  return findings.sorted(model.matchFile);
}
