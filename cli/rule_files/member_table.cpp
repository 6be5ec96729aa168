#include "cli/rule_files/member_table.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "cli/rule_files/spelling.h"

namespace {

using Object = ObjectKind;
using Form = MemberRow::NameForm;
using Value = ValueForm;

// The first row that takes a name counts.
constexpr MemberRow kRows[] = {
    // clang-format off
    {Object::kMatchRoot, "$schema", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "The JSON Schema of the file, for editors."},
    {Object::kMatchRoot, "$comment", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX, "A remark."},
    {Object::kMatchRoot, "segmentFrame", Form::kExact, Value::kObjects, Object::kSegmentFrame, false, false, "", INT_MAX,
     "Loaded, but nothing uses it."},
    {Object::kMatchRoot, "featureFrame", Form::kContains, Value::kObject, Object::kFrameEntry, false, true, "", INT_MAX,
     "A frame entry: which logs it is for, and the rules for their lines. Entries are visited in byte order of their "
     "keys."},

    {Object::kSegmentFrame, "name", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX, "Name."},
    {Object::kSegmentFrame, "keyWords", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "Keywords."},
    {Object::kSegmentFrame, "desc", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "Description."},

    {Object::kFrameEntry, "$comment", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX, "A remark."},
    {Object::kFrameEntry, "dirOrFile", Form::kExact, Value::kText, Object::kNone, true, true, "", INT_MAX,
     "The directory that the path test starts in. Without \"subcataLog\" the log itself, whatever path the caller "
     "gives."},
    {Object::kFrameEntry, "subcataLog", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "Paths below the directory, alternatives separated by \"@|@\"; each part between slashes is a regular "
     "expression."},
    {Object::kFrameEntry, "featureId", Form::kExact, Value::kText, Object::kNone, true, true, "", INT_MAX,
     "Comma-separated feature ids without blanks, each a prefix, \"_\", the event type, \"_\" and a suffix."},
    {Object::kFrameEntry, "skip", Form::kExact, Value::kInteger, Object::kNone, false, true, "", INT_MAX,
     "Give up after so many lines in a row without a match. Below 1: 32000."},
    {Object::kFrameEntry, "segmentType", Form::kExact, Value::kText, Object::kNone, false, false, "", INT_MAX,
     "Loaded, but nothing uses it."},
    {Object::kFrameEntry, "segmentStart", Form::kExact, Value::kTexts, Object::kNone, false, false, "", INT_MAX,
     "Loaded, but nothing uses it."},
    {Object::kFrameEntry, "segmentStack", Form::kExact, Value::kTexts, Object::kNone, false, false, "", INT_MAX,
     "Loaded, but nothing uses it."},
    {Object::kFrameEntry, "rules", Form::kExact, Value::kObjects, Object::kPlainRule, false, true, "", INT_MAX,
     "Plain rules: each fires until it has all its parameters, then it is gone. A line goes to the first rule that "
     "accepts it."},
    {Object::kFrameEntry, "segmentRule", Form::kExact, Value::kObjects, Object::kSegmentRule, false, true, "rules",
     INT_MAX, "Rules that stay. They come after the plain rules, and are read only when \"rules\" is there too."},

    {Object::kPlainRule, "$comment", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX, "A remark."},
    {Object::kPlainRule, "name", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "First half of the names of the rule's records."},
    {Object::kPlainRule, "depend", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "The rule waits until there is a record whose name contains this text."},
    {Object::kPlainRule, "keyWords", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "Which lines the rule accepts: a text, texts separated by \"@|@\" (any of them) or \"@&@\" (all, in this order), "
     "or \"@R@\" and a regular expression."},
    {Object::kPlainRule, "num", Form::kExact, Value::kInteger, Object::kNone, false, true, "", 0,
     "Belongs to \"segmentRule\"."},
    {Object::kPlainRule, "v_", Form::kPrefix, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "A parameter: a regular expression whose first group is taken from the line. \"@L@\" in front: the last value "
     "counts. \"@T@\" in front: a pattern for the lines of a stack."},

    {Object::kSegmentRule, "$comment", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "A remark."},
    {Object::kSegmentRule, "name", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "First half of the names of the rule's records."},
    {Object::kSegmentRule, "depend", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "The rule waits until there is a record whose name contains this text."},
    {Object::kSegmentRule, "keyWords", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "Which lines the rule accepts: a text, texts separated by \"@|@\" (any of them) or \"@&@\" (all, in this order), "
     "or \"@R@\" and a regular expression."},
    {Object::kSegmentRule, "num", Form::kExact, Value::kInteger, Object::kNone, false, true, "", INT_MAX,
     "Take parameters from the accepted line and the lines after it, so many in all."},
    {Object::kSegmentRule, "v_", Form::kPrefix, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "A parameter: a regular expression whose first group is taken from the line. \"@L@\" in front: the last value "
     "counts. \"@T@\" in front: a pattern for the lines of a stack."},

    {Object::kAssembleRoot, "$schema", Form::kExact, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "The JSON Schema of the file, for editors."},
    {Object::kAssembleRoot, "", Form::kAny, Value::kObject, Object::kSection, false, true, "", INT_MAX,
     "An event type."},
    {Object::kSection, "", Form::kAny, Value::kObject, Object::kTemplates, false, true, "", INT_MAX,
     "A feature id of the event type."},
    {Object::kTemplates, "", Form::kAny, Value::kText, Object::kNone, false, true, "", INT_MAX,
     "A result key with its template: the name of a record, or several separated by \"+\" or by \":\"."},
    // clang-format on
};

}  // namespace

std::span<const MemberRow> AllMemberRows() { return kRows; }

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
  const auto* row = std::find_if(std::begin(kRows), std::end(kRows), [object, name](const MemberRow& candidate) {
    return candidate.object == object && TakesName(candidate, name);
  });
  return row == std::end(kRows) ? nullptr : row;
}

std::string MeantName(ObjectKind object, std::string_view name) {
  std::vector<std::string> names;
  for (const MemberRow& row : AllMemberRows()) {
    if (row.object != object) continue;
    if (row.nameForm == Form::kExact) names.emplace_back(row.name);
    // What surrounds the fixed part of a name is the author's: the same surroundings are right in the suggestion.
    if (row.nameForm == Form::kPrefix && name.size() > row.name.size()) {
      const size_t separator = name.find_first_of("_-. ");
      names.push_back(std::string(row.name) + std::string(name.substr(separator <= 2 ? separator + 1 : 1)));
    }
    if (row.nameForm == Form::kContains) {
      names.emplace_back(row.name);
      const size_t separator = std::min(name.find_first_of("_-. "), name.size());
      names.push_back(std::string(row.name) + std::string(name.substr(separator)));
    }
  }
  return NearestTo(name, names);
}
