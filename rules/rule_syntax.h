#ifndef RULES_RULE_SYNTAX_H
#define RULES_RULE_SYNTAX_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The language of the rule files: their names, the marks and separators in their texts, the names that are made from
// them, and the limits of what is read. Everything that reads or explains rules takes these facts from here.

// --- The files ---

// The two files in a directory of rules.
inline constexpr char kMatchFileName[] = "match_rule.json";
inline constexpr char kAssembleFileName[] = "assemble_rule.json";
std::string MatchRuleFile(const std::string& configDir);
std::string AssembleRuleFile(const std::string& configDir);

inline constexpr unsigned kMaxElements = 50;  // elements read of any array
inline constexpr int kMaxJsonDepth = 1000;    // values inside values; the JSON library raises an error for more

// The boolean system property that lets every log pass the path tests.
inline constexpr char kDebugProperty[] = "persist.sys.Kestrix.debug";

// --- Frame entries ---

// Members of the match file whose name holds this are frame entries.
inline constexpr std::string_view kEntryMark = "featureFrame";
inline constexpr std::string_view kIdSeparator = ",";

// "ID_TYPE_PRIORITY": the text between the first and the last "_" of a feature id.
std::string EventTypeOf(const std::string& featureId);

// What the ids of an event type are sorted by: the text behind the first "_".
std::string PriorityOf(const std::string& featureId);

// Alternatives of "subcataLog" are separated by kOrMark, the parts of one by this.
inline constexpr std::string_view kPathSeparator = "/";

// The lines examined in a row without a match after which a scan stops, unless the entry has a "skip" of 1 or more.
inline constexpr int32_t kDefaultSkip = 32000;
constexpr int32_t SkipLimit(int32_t skip) { return skip >= 1 ? skip : kDefaultSkip; }

// --- Rules ---

inline constexpr char kPlainCommand[] = "rules";          // a rule that fires once
inline constexpr char kSegmentCommand[] = "segmentRule";  // a rule that may fire on every line
inline constexpr char kParamPrefix[] = "v_";

// Whether the loader refuses a rule: only a segment rule may span lines.
inline constexpr int32_t kMaxPlainNum = 0;
constexpr bool IsRefused(std::string_view command, int32_t num) {
  return num > kMaxPlainNum && command == kPlainCommand;
}

// A record whose name holds one of these begins the segment part of a log.
inline constexpr std::array<std::string_view, 2> kSegmentBegins = {"LayerOneCmd", "LayerTwoCmd"};
bool BeginsSegment(std::string_view recordName);

// --- Keyword expressions ---

inline constexpr std::string_view kRegexMark = "@R@";  // at the beginning: the rest is a regular expression
inline constexpr std::string_view kOrMark = "@|@";
inline constexpr std::string_view kAndMark = "@&@";

enum class KeyWordForm { kText, kRegex, kOr, kAnd };

// An expression that holds both "@|@" and "@&@" is an or-expression.
KeyWordForm FormOf(std::string_view keyWords);

// Takes the next term that is not empty off the front of `rest`, whose terms are separated by `mark`. False when none
// is left.
bool TakeTerm(std::string_view& rest, std::string_view mark, std::string_view& term);

// --- Parameters and records ---

inline constexpr std::string_view kLastMark = "@L@";   // what stands before it is dropped; the latest value is kept
inline constexpr std::string_view kStackMark = "@T@";  // the pattern is for the frames of a stack, not for the line

// The pattern text without its "@L@" and what stands before that.
constexpr std::string_view AppliedPattern(std::string_view text) {
  const size_t mark = text.find(kLastMark);
  return mark == std::string_view::npos ? text : text.substr(mark + kLastMark.size());
}

// True when the parameter is recorded whatever the line holds.
constexpr bool IsStackPattern(std::string_view text) {
  return AppliedPattern(text).find(kStackMark) != std::string_view::npos;
}

// The expression for the frames of a stack: an applied pattern without its marks "@T@".
std::string StackExpression(std::string_view applied);

// The name of the record that a rule's parameter makes.
std::string RecordName(const std::string& rule, const std::string& param);

inline constexpr char kOpenMark[] = "@{";
inline constexpr char kCloseMark[] = "}@";
inline constexpr size_t kMaxRuleText = 64 * 1024;  // bytes of a text past which no variable in it is filled any more

// Whether a text has variables, filled or not.
constexpr bool HoldsVariable(std::string_view text) {
  return text.find(kOpenMark) != std::string_view::npos && text.find(kCloseMark) != std::string_view::npos;
}

// The variable that the record `name` fills.
std::string VariableOf(const std::string& name);

// --- Templates ---

inline constexpr char kJoinMark[] = "+";
inline constexpr char kReasonSeparator[] = ":";
inline constexpr char kReasonKey[] = "REASON";  // the one result key that values are appended to

// What separates the record names of a template: "+", else ":"; empty for a template that is a single name.
std::string SeparatorOf(const std::string& templateText);

#endif  // RULES_RULE_SYNTAX_H
