#ifndef TOOLS_CHECK_CHECKS_H
#define TOOLS_CHECK_CHECKS_H

#include "tools/check/findings.h"
#include "tools/check/member_table.h"
#include "tools/check/rule_model.h"

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

#endif  // TOOLS_CHECK_CHECKS_H
