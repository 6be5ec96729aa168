#ifndef CLI_RULE_FILES_MEMBER_TABLE_H
#define CLI_RULE_FILES_MEMBER_TABLE_H

#include <climits>
#include <span>
#include <string>
#include <string_view>

// The members of the objects in both rule files: one table for the checker and for the JSON Schemas.

enum class ObjectKind {
  kNone,
  kMatchRoot,
  kSegmentFrame,
  kFrameEntry,
  kPlainRule,
  kSegmentRule,
  kAssembleRoot,
  kSection,
  kTemplates,
};

// Findings that are meant. The library passes it over.
inline constexpr char kAllowMember[] = "$allow";

enum class ValueForm { kText, kInteger, kTexts, kObject, kObjects };

struct MemberRow {
  enum class NameForm { kExact, kContains, kPrefix, kAny };

  ObjectKind object = ObjectKind::kNone;  // the object that may hold the member
  std::string_view name = "";
  NameForm nameForm = NameForm::kExact;
  ValueForm value = ValueForm::kText;
  ObjectKind inner = ObjectKind::kNone;  // the kind of the object or objects that the value holds
  bool isRequired = false;               // and not empty
  bool isUsed = true;                    // false for a member that the library loads for nothing
  std::string_view needs = "";           // another member without which this one is not read
  int maximum = INT_MAX;                 // of an integer
  std::string meaning = "";
};

std::span<const MemberRow> AllMemberRows();

bool TakesName(const MemberRow& row, std::string_view name);

// The row for a member `name` of an object; null when the library does not know it.
const MemberRow* FindMemberRow(ObjectKind object, std::string_view name);

// The name that a name which the library does not know was most likely meant to be; empty when none is near.
std::string MeantName(ObjectKind object, std::string_view name);

#endif  // CLI_RULE_FILES_MEMBER_TABLE_H
