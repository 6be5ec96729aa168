#ifndef CLI_CHECK_CHECKS_H
#define CLI_CHECK_CHECKS_H

#include <vector>

#include "cli/check/findings.h"
#include "cli/rule_files/member_table.h"
#include "cli/rule_files/rule_model.h"

// Each check looks for the findings of one kind. They do not depend on each other.

// JSON as such: validity, root, names and types of members, sizes of arrays.
void CheckStructure(const JsonFile& file, ObjectKind root, Findings& findings);

// Directories; feature ids in both files.
void CheckFeatures(const RuleModel& model, Findings& findings);

// Keyword expressions: marks, terms, and which rule takes whose lines.
void CheckKeyWords(const RuleModel& model, Findings& findings);

// Regular expressions and what they take: validity, time, groups, stacks.
void CheckExpressions(const RuleModel& model, Findings& findings);

// Records: what rules and templates ask for, and what they get.
void CheckRecords(const RuleModel& model, Findings& findings);

// All of them: what is found in both files, in order.
std::vector<Finding> CheckRules(const RuleModel& model);

#endif  // CLI_CHECK_CHECKS_H
