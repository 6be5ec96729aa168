#ifndef CLI_CHECK_CHECKS_H
#define CLI_CHECK_CHECKS_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "cli/check/findings.h"
#include "cli/rule_files/member_table.h"
#include "cli/rule_files/rule_model.h"

// Each check looks for the findings of one kind. They do not depend on each other. Those from CheckPaths to
// CheckValues are shown one entry at a time, with its templates and no others.

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

// Expressions that are valid and hardly meant.
void CheckMeaning(const RuleModel& model, Findings& findings);

// Regular expressions and what they take: validity, time, groups, stacks.
void CheckExpressions(const RuleModel& model, Findings& findings);

// Parameters and variables: what values there can be.
void CheckValues(const RuleModel& model, Findings& findings);

// Records: what rules and templates ask for, and what they get.
void CheckRecords(const RuleModel& model, Findings& findings);

// Result keys.
void CheckResults(const RuleModel& model, Findings& findings);

// All of them. One that is kept, for a text that is being edited, remembers what it found in each entry, and looks
// again where the entry or one of its templates has changed.
class RuleCheck {
 public:
  // What is found in both files, in order.
  std::vector<Finding> check(const RuleModel& model);

 private:
  struct EntryFindings {
    size_t line;                    // where the entry began; a message may name a line
    std::vector<Finding> findings;  // their places count from there
  };

  void checkEntry(const RuleModel& model, const PlacedEntry& entry, size_t line, Findings& findings);

  std::map<std::string, EntryFindings> known_;  // by all that they follow from
  std::map<std::string, EntryFindings> next_;   // of the present text
};

inline std::vector<Finding> CheckRules(const RuleModel& model) { return RuleCheck().check(model); }

#endif  // CLI_CHECK_CHECKS_H
