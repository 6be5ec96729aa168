#ifndef CLI_CHECK_FINDING_CODES_H
#define CLI_CHECK_FINDING_CODES_H

#include <functional>
#include <iosfwd>
#include <map>
#include <span>
#include <string>
#include <string_view>

// What `kestrix check` can find. The names are stable: scripts and reviews refer to them. docs/checks.md describes
// each.

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
  kAllowUseless,
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
  kTermRepeated,
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
  kRegexLeft,
  kRegexUnlikely,
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
};

// What docs/checks.md says of a code. All but the summary may have several lines; the last one has no line feed.
struct FindingText {
  std::string severity;
  std::string summary;    // a phrase
  std::string paragraph;  // what happens, and why it matters
  std::string wrong;      // lines of a rule file
  std::string right;
};

// In the order of `Code`.
std::span<const FindingCode> AllFindingCodes();

const FindingCode& DescriptionOf(Code code);

// The code of that name; null when there is none.
const FindingCode* FindFindingCode(std::string_view name);

std::string_view NameOf(Severity severity);

// By the names of the codes.
const std::map<std::string, FindingText, std::less<>>& AllFindingTexts();

const FindingText& TextOf(const FindingCode& code);

// For people: name, paragraph and both examples.
void PrintWhy(const FindingCode& code, std::ostream& out);

// docs/checks.md.
void PrintCodesAsMarkdown(std::ostream& out);

#endif  // CLI_CHECK_FINDING_CODES_H
