#include "cli/check/checks.h"

std::vector<Finding> CheckRules(const RuleModel& model) {
  Findings findings;
  CheckStructure(model.matchFile, ObjectKind::kMatchRoot, findings);
  CheckStructure(model.assembleFile, ObjectKind::kAssembleRoot, findings);
  for (const auto check : {CheckFeatures, CheckKeyWords, CheckExpressions, CheckRecords}) check(model, findings);
  return findings.sorted(model.matchFile);
}
