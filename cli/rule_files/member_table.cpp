#include "cli/rule_files/member_table.h"

#include <algorithm>
#include <vector>

#include "cli/output/terminal.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"

namespace {

using Object = ObjectKind;
using Form = MemberRow::NameForm;
using Value = ValueForm;

// The members that plain and segment rules have in common.
void AppendRuleRows(Object rule, std::vector<MemberRow>& rows) {
  rows.insert(rows.end(),
              {{.object = rule, .name = "$comment", .meaning = "A remark."},
               {.object = rule, .name = "name", .meaning = "First half of the names of the rule's records."},
               {.object = rule,
                .name = "depend",
                .meaning = "The rule waits until there is a record whose name contains this text."},
               {.object = rule,
                .name = "keyWords",
                .meaning = "Which lines the rule accepts: a text, texts separated by " + Quoted(kOrMark) +
                           " (any of them) or " + Quoted(kAndMark) + " (all, in this order), or " + Quoted(kRegexMark) +
                           " and a regular expression."},
               {.object = rule,
                .name = kParamPrefix,
                .nameForm = Form::kPrefix,
                .meaning = "A parameter: a regular expression whose first group is taken from the line. " +
                           Quoted(kLastMark) + " in front: the last value counts. " + Quoted(kStackMark) +
                           " in front: a pattern for the lines of a stack."}});
}

// The first row that takes a name counts.
// NOLINTNEXTLINE(readability-function-size): a row for each member
std::vector<MemberRow> MadeRows() {
  const std::string schema = "The JSON Schema of the file, for editors.";
  const std::string idle = "Loaded, but nothing uses it.";
  const std::string allow = "Findings of the checker that are meant here, each as its code, a colon and the reason.";
  std::vector<MemberRow> rows = {
      {.object = Object::kMatchRoot, .name = "$schema", .meaning = schema},
      {.object = Object::kMatchRoot, .name = "$comment", .meaning = "A remark."},
      {.object = Object::kMatchRoot, .name = kAllowMember, .value = Value::kTexts, .meaning = allow},
      {.object = Object::kMatchRoot,
       .name = "segmentFrame",
       .value = Value::kObjects,
       .inner = Object::kSegmentFrame,
       .isUsed = false,
       .meaning = idle},
      {.object = Object::kMatchRoot,
       .name = kEntryMark,
       .nameForm = Form::kContains,
       .value = Value::kObject,
       .inner = Object::kFrameEntry,
       .meaning =
           "A frame entry: which logs it is for, and the rules for their lines. Entries are visited in byte order "
           "of their keys."},

      {.object = Object::kSegmentFrame, .name = "name", .meaning = "Name."},
      {.object = Object::kSegmentFrame, .name = "keyWords", .meaning = "Keywords."},
      {.object = Object::kSegmentFrame, .name = "desc", .meaning = "Description."},

      {.object = Object::kFrameEntry, .name = "$comment", .meaning = "A remark."},
      {.object = Object::kFrameEntry, .name = kAllowMember, .value = Value::kTexts, .meaning = allow},
      {.object = Object::kFrameEntry,
       .name = "dirOrFile",
       .isRequired = true,
       .meaning =
           "The directory that the path test starts in. Without \"subcataLog\" the log itself, whatever path the "
           "caller gives."},
      {.object = Object::kFrameEntry,
       .name = "subcataLog",
       .meaning = "Paths below the directory, alternatives separated by " + Quoted(kOrMark) +
                  "; each part between slashes is a regular expression."},
      {.object = Object::kFrameEntry,
       .name = "featureId",
       .isRequired = true,
       .meaning = "Comma-separated feature ids without blanks, each a prefix, \"_\", the event type, \"_\" and a "
                  "suffix."},
      {.object = Object::kFrameEntry,
       .name = "skip",
       .value = Value::kInteger,
       .meaning =
           "Give up after so many lines in a row without a match. Below 1: " + std::to_string(kDefaultSkip) + "."},
      {.object = Object::kFrameEntry, .name = "segmentType", .isUsed = false, .meaning = idle},
      {.object = Object::kFrameEntry, .name = "segmentStart", .value = Value::kTexts, .isUsed = false, .meaning = idle},
      {.object = Object::kFrameEntry, .name = "segmentStack", .value = Value::kTexts, .isUsed = false, .meaning = idle},
      {.object = Object::kFrameEntry,
       .name = kPlainCommand,
       .value = Value::kObjects,
       .inner = Object::kPlainRule,
       .meaning = "Plain rules: each fires until it has all its parameters, then it is gone. A line goes to the first "
                  "rule that accepts it."},
      {.object = Object::kFrameEntry,
       .name = kSegmentCommand,
       .value = Value::kObjects,
       .inner = Object::kSegmentRule,
       .needs = kPlainCommand,
       .meaning = "Rules that stay. They come after the plain rules, and are read only when " + Quoted(kPlainCommand) +
                  " is there too."},

      {.object = Object::kPlainRule, .name = kAllowMember, .value = Value::kTexts, .meaning = allow},
      {.object = Object::kSegmentRule, .name = kAllowMember, .value = Value::kTexts, .meaning = allow},
      {.object = Object::kPlainRule,
       .name = "num",
       .value = Value::kInteger,
       .maximum = kMaxPlainNum,
       .meaning = "Belongs to " + Quoted(kSegmentCommand) + "."},
      {.object = Object::kSegmentRule,
       .name = "num",
       .value = Value::kInteger,
       .meaning = "Take parameters from the accepted line and the lines after it, so many in all."},

      {.object = Object::kAssembleRoot, .name = "$schema", .meaning = schema},
      {.object = Object::kAssembleRoot, .name = kAllowMember, .value = Value::kTexts, .meaning = allow},
      {.object = Object::kAssembleRoot,
       .nameForm = Form::kAny,
       .value = Value::kObject,
       .inner = Object::kSection,
       .meaning = "An event type."},
      {.object = Object::kSection, .name = kAllowMember, .value = Value::kTexts, .meaning = allow},
      {.object = Object::kSection,
       .nameForm = Form::kAny,
       .value = Value::kObject,
       .inner = Object::kTemplates,
       .meaning = "A feature id of the event type."},
      {.object = Object::kTemplates,
       .nameForm = Form::kAny,
       .meaning = "A result key with its template: the name of a record, or several separated by " + Quoted(kJoinMark) +
                  " or by " + Quoted(kReasonSeparator) + "."},
  };
  AppendRuleRows(Object::kPlainRule, rows);
  AppendRuleRows(Object::kSegmentRule, rows);
  return rows;
}

}  // namespace

std::span<const MemberRow> AllMemberRows() {
  static const std::vector<MemberRow> kRows = MadeRows();
  return kRows;
}

bool TakesName(const MemberRow& row, std::string_view name) {
  switch (row.nameForm) {
    case Form::kExact:
      return name == row.name;
    case Form::kContains:
      return name.find(row.name) != std::string_view::npos;
    case Form::kPrefix:
      return name.starts_with(row.name);
    default:
      return true;
  }
}

const MemberRow* FindMemberRow(ObjectKind object, std::string_view name) {
  for (const MemberRow& row : AllMemberRows()) {
    if (row.object == object && TakesName(row, name)) return &row;
  }
  return nullptr;
}

std::string MeantName(ObjectKind object, std::string_view name) {
  std::vector<std::string> names;
  for (const MemberRow& row : AllMemberRows()) {
    if (row.object != object) continue;
    if (row.nameForm == Form::kExact) names.emplace_back(row.name);
    // What surrounds the fixed part of a name is the author's: the same surroundings are right in the suggestion.
    const size_t separator = name.find_first_of("_-. ");
    const bool hasLetter = !name.empty() && (name[0] | 0x20) == row.name[0];
    if (row.nameForm == Form::kPrefix && hasLetter && separator == 1 && name.size() > row.name.size()) {
      names.push_back(std::string(row.name) + std::string(name.substr(separator + 1)));
    }
    if (row.nameForm == Form::kContains) {
      names.emplace_back(row.name);
      names.push_back(std::string(row.name) + std::string(name.substr(std::min(separator, name.size()))));
    }
  }
  return NearestTo(name, names);
}
