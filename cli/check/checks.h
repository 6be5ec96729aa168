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

// The path tests of frame entries.
void CheckPaths(const RuleModel& model, Findings& findings);

// The marks in keywords and parameters.
void CheckMarks(const RuleModel& model, Findings& findings);

// Keyword expressions: terms, what they accept, and which rule takes whose lines.
void CheckKeyWords(const RuleModel& model, Findings& findings);

// Regular expressions and what they take: validity, time, groups, stacks.
void CheckExpressions(const RuleModel& model, Findings& findings);

// Parameters and variables: what values there can be.
void CheckValues(const RuleModel& model, Findings& findings);

// Records: what rules and templates ask for, and what they get.
void CheckRecords(const RuleModel& model, Findings& findings);

// Result keys.
void CheckResults(const RuleModel& model, Findings& findings);

// All of them: what is found in both files, in order.
std::vector<Finding> CheckRules(const RuleModel& model);

#endif  // CLI_CHECK_CHECKS_H
