#ifndef CLI_CHECK_FINDING_CODES_H
#define CLI_CHECK_FINDING_CODES_H

#include <iosfwd>
#include <span>
#include <string_view>

// What `kestrix check` can find. The names are stable: scripts and reviews refer to them.

enum class Severity { kError, kWarning };

enum class Code {
  kJsonSyntax,
  kJsonLenient,
  kJsonExtraText,
  kRootType,
  kValueType,
  kValueConverted,
  kDuplicateMember,
  kUnknownMember,
  kMemberUnused,
  kArrayTooLong,
  kNumInRules,
  kNumberNegative,
  kSegmentWithoutRules,
  kEntryIncomplete,
  kDirDot,
  kPathNeverFits,
  kPathLikely,
  kIdWithoutSection,
  kSectionUnused,
  kFeatureIdRepeated,
  kEventTypeRepeated,
  kPriorityTie,
  kKeywordsEmpty,
  kTermEmpty,
  kMarksMixed,
  kRegexMarkInside,
  kMarkBroken,
  kMarkUseless,
  kPlainExpression,
  kNeverMatches,
  kControlCharacter,
  kRuleUnreachable,
  kRuleShadowed,
  kRegexInvalid,
  kRegexNotPortable,
  kRegexExponential,
  kParamWithoutGroup,
  kParamNever,
  kValueEmpty,
  kValueMayBeEmpty,
  kLaterGroup,
  kStackKeepsPrefix,
  kStackWithoutCauses,
  kDependUnmet,
  kVariableUnmet,
  kVariableUnclosed,
  kVariableRepeated,
  kVariableOfStack,
  kVariableInExpression,
  kRuleNameRepeated,
  kRecordUnused,
  kTemplateUnknownRecord,
  kTemplateMixed,
  kStackWithoutMark,
  kKeyOverwritten,
  kKeyCase,
};

struct FindingCode {
  Code code;
  std::string_view name;
  Severity severity;
  std::string_view summary;    // a phrase
  std::string_view paragraph;  // what happens, and why it matters
  std::string_view wrong;      // lines of a rule file
  std::string_view right;
};

// In the order of `Code`.
std::span<const FindingCode> AllFindingCodes();

const FindingCode& DescriptionOf(Code code);

// The code of that name; null when there is none.
const FindingCode* FindFindingCode(std::string_view name);

std::string_view NameOf(Severity severity);

// For people: name, paragraph and both examples.
void PrintWhy(const FindingCode& code, std::ostream& out);

// docs/checks.md.
void PrintCodesAsMarkdown(std::ostream& out);

#endif  // CLI_CHECK_FINDING_CODES_H
