#include "cli/check/finding_codes.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string>

namespace {

constexpr Severity kError = Severity::kError;
constexpr Severity kWarning = Severity::kWarning;

constexpr FindingCode kCodes[] = {
    // --- The files ---
    {Code::kJsonSyntax, "json-syntax", kError, "the file is not valid JSON",
     "The library reads strict JSON: no comments, no comma before a closing bracket, no byte order mark. A file that "
     "it "
     "cannot read counts as absent, so none of its rules apply.",
     "{\n  \"dirOrFile\": \"/data/anr\",  // where the logs are\n}", "{\n  \"dirOrFile\": \"/data/anr\"\n}"},
    {Code::kJsonLenient, "json-lenient", kWarning, "not JSON, but the library reads it",
     "The library's reader lets a few things pass that are not JSON: a comment between two members, a number such as "
     "007, a tab inside a text. Other programs, a later version of the reader among them, refuse the whole file.",
     "\"skip\": 0500,", "\"skip\": 500,"},
    {Code::kJsonExtraText, "json-extra-text", kError, "text behind the end of the root value",
     "Reading ends where the root value ends, and what follows is dropped without a word. Most often there is one "
     "closing brace too many further up.",
     "{\n  \"featureFrame_a\": { ... }},\n  \"featureFrame_b\": { ... }\n}",
     "{\n  \"featureFrame_a\": { ... },\n  \"featureFrame_b\": { ... }\n}"},
    {Code::kRootType, "root-type", kError, "the root is not an object",
     "Both files are one JSON object. Nothing is read of any other root.", "[{\"featureFrame\": { ... }}]",
     "{\"featureFrame\": { ... }}"},
    {Code::kValueType, "value-type", kError, "a value of a type that the library cannot use",
     "An object or an array where text belongs, and anything but a number that fits 32 bits where a number belongs, "
     "end "
     "the device process when the rule is loaded. Where an object or an array belongs, another value counts as absent, "
     "and a rule that is no object accepts every line.",
     "\"keyWords\": [\"FATAL\", \"EXCEPTION\"]", "\"keyWords\": \"FATAL@|@EXCEPTION\""},
    {Code::kValueConverted, "value-converted", kWarning, "a value that is converted to another type",
     "Numbers and booleans are turned into text, null into empty text or 0, and fractions are cut off. Write the value "
     "that is meant.",
     "\"keyWords\": 404", "\"keyWords\": \"404\""},
    {Code::kDuplicateMember, "duplicate-member", kWarning, "a member that replaces an earlier one",
     "Of several members of one name in an object only the last one is read. The others are lost without a word.",
     "\"v_pid\": \"PID: (\\\\d+)\",\n\"v_pid\": \"Process: (\\\\S+)\"",
     "\"v_pid\": \"PID: (\\\\d+)\",\n\"v_process\": \"Process: (\\\\S+)\""},
    {Code::kUnknownMember, "unknown-member", kWarning, "a member that the library does not know",
     "Members of other names are passed over, so a misspelt one is as good as absent. Case counts. For remarks there "
     "is "
     "\"$comment\", which the checker knows.",
     "\"keywords\": \"FATAL EXCEPTION\"", "\"keyWords\": \"FATAL EXCEPTION\""},
    {Code::kMemberUnused, "member-unused", kWarning, "a member that is loaded but has no effect",
     "\"segmentFrame\", \"segmentType\", \"segmentStart\" and \"segmentStack\" are read and carried along, but nothing "
     "uses them. A rule with \"num\" under \"segmentRule\" reads a block of lines.",
     "\"segmentStart\": [\"-----\"],\n\"rules\": [ ... ]", "\"rules\": [ ... ]"},
    {Code::kArrayTooLong, "array-too-long", kError, "an array of more than 50 elements",
     "Of every array the first 50 elements are read; the rest is dropped. Distribute the rules over several frame "
     "entries with feature ids of their own.",
     "\"rules\": [ ...51 rules... ]", "\"rules\": [ ...50 rules... ]"},
    // --- Frame entries ---
    {Code::kNumInRules, "num-in-rules", kError, "\"num\" in a plain rule",
     "Only rules under \"segmentRule\" may span several lines. A rule under \"rules\" with a \"num\" of 1 or more is "
     "refused when the file is loaded.",
     "\"rules\": [{\"name\": \"lock\", \"num\": 7, ... }]",
     "\"rules\": [],\n\"segmentRule\": [{\"name\": \"lock\", \"num\": 7, ... }]"},
    {Code::kNumberNegative, "number-negative", kWarning, "a negative number",
     "A \"skip\" below 1 counts as 32000, and a \"num\" below 2 as one line. A negative one says something else than "
     "it does.",
     "\"skip\": -1", "\"skip\": 32000"},
    {Code::kSegmentWithoutRules, "segment-without-rules", kError, "\"segmentRule\" without \"rules\"",
     "\"segmentRule\" is read only when the entry has \"rules\" too, if only an empty array.",
     "\"segmentRule\": [ ... ]", "\"rules\": [],\n\"segmentRule\": [ ... ]"},
    {Code::kEntryIncomplete, "entry-incomplete", kError, "a frame entry without \"dirOrFile\" or \"featureId\"",
     "Without a directory an entry is passed over, without a feature id it belongs to no event type. In both cases all "
     "its rules are lost.",
     "\"featureFrame_anr\": {\n  \"featureId\": \"KX_anr_1\"\n}",
     "\"featureFrame_anr\": {\n  \"dirOrFile\": \"/data/anr\",\n  \"featureId\": \"KX_anr_1\"\n}"},
    {Code::kDirDot, "dir-dot", kWarning, "a \".\" in \"dirOrFile\" that stands for any byte",
     "With \"subcataLog\" the directory is part of the expression that the path has to match, so each plain \".\" in "
     "it "
     "accepts any byte. The path of another package may match too.",
     "\"dirOrFile\": \"/data/data/com.example\"", "\"dirOrFile\": \"/data/data/com\\\\.example\""},
    {Code::kPathNeverFits, "path-never-fits", kError, "a path test that no log passes",
     "With \"subcataLog\" each part of a path is an expression that begins with the directory and has to take the "
     "whole path of the log; the first part that does so ends the test. So no sign of a begin or an end has a place in "
     "it, \"|\" divides the directory too, and a \".*\" in front of a \"/\" takes what the parts behind it are for. "
     "Without \"subcataLog\" the directory is the path of the log itself. A log's path begins with \"/\" and has no "
     "\"./\" in it.",
     "\"subcataLog\": \"dump.*/log_[0-9]+\"", "\"subcataLog\": \"dump[^\\\\x2f]*/log_[0-9]+\""},
    {Code::kPathLikely, "path-unlikely", kWarning, "a path that is hardly meant",
     "The parts of \"subcataLog\" are expressions and not patterns of a shell: a \"*\" repeats the byte in front of "
     "it. Paths in it begin below the directory, and alternatives are separated by \"@|@\" only.",
     "\"subcataLog\": \"anr_*\"", "\"subcataLog\": \"anr_.*\""},
    // --- Feature ids ---
    {Code::kIdWithoutSection, "id-without-section", kError, "a feature id without a section in the assemble file",
     "The templates of a feature id stand in assemble_rule.json, under the event type (what lies between the first and "
     "the last \"_\" of the id) and the id itself. Without them the feature runs and yields nothing.",
     "\"featureId\": \"KX_anr_1, KX_anr_2\"", "\"featureId\": \"KX_anr_1,KX_anr_2\""},
    {Code::kSectionUnused, "section-unused", kWarning, "templates of a feature id that no frame entry has",
     "Templates are read for the accepted feature ids of the event type that they stand under. These stand under an id "
     "that no entry of match_rule.json names, or under another event type than the id's own.",
     "{\"crash\": {\"KX_anr_1\": { ... }}}", "{\"anr\": {\"KX_anr_1\": { ... }}}"},
    {Code::kFeatureIdRepeated, "feature-id-repeated", kWarning, "a feature id that is taken twice",
     "Of several frame entries with one feature id that accept a log, the first in byte order of their keys is used, "
     "and runs once for each of them. Give each entry an id of its own.",
     "\"featureFrame_a\": {\"featureId\": \"KX_anr_1\", ... },\n\"featureFrame_b\": {\"featureId\": \"KX_anr_1\", ... "
     "}",
     "\"featureFrame_a\": {\"featureId\": \"KX_anr_1\", ... },\n\"featureFrame_b\": {\"featureId\": \"KX_anr_2\", ... "
     "}"},
    {Code::kEventTypeRepeated, "event-type-repeated", kWarning, "several feature ids of one event type in one entry",
     "The ids of an entry share one frame that grows: the second accepted id gets every rule twice, the third three "
     "times. Give an entry one id for each event type.",
     "\"featureId\": \"KX_anr_1,KX_anr_2\"", "\"featureId\": \"KX_anr_1,KX_hang_1\""},
    {Code::kPriorityTie, "priority-tie", kWarning, "two feature ids of the same priority",
     "Feature ids are sorted by what follows their first \"_\". Two that differ only before it may run in either "
     "order, "
     "so it is left to chance whose value a key gets.",
     "\"featureId\": \"A_anr_1\"  and  \"featureId\": \"B_anr_1\"",
     "\"featureId\": \"A_anr_1\"  and  \"featureId\": \"B_anr_2\""},
    // --- Keywords ---
    {Code::kKeywordsEmpty, "keywords-empty", kWarning, "keywords that accept every line",
     "A rule without keywords accepts every line, and the rules behind it see none while it is there.",
     "{\"name\": \"first\", \"keyWords\": \"\", \"v_line\": \"(.*)\"}",
     "{\"name\": \"first\", \"keyWords\": \"Process: \", \"v_line\": \"(.*)\"}"},
    {Code::kTermEmpty, "term-empty", kWarning, "an empty term in the keywords",
     "Empty terms are dropped. If one stood for \"anything\", the rule does not say so.",
     "\"keyWords\": \"FATAL@|@@|@CRASH\"", "\"keyWords\": \"FATAL@|@CRASH\""},
    {Code::kMarksMixed, "marks-mixed", kWarning, "keywords with both \"@|@\" and \"@&@\"",
     "An expression with \"@|@\" is an or-expression, and \"@&@\" in it is plain text that no log holds. Use two rules "
     "or a regular expression.",
     "\"keyWords\": \"pid: @&@tid: @|@Process: \"", "\"keyWords\": \"@R@pid: .*tid: |Process: \""},
    {Code::kRegexMarkInside, "regex-mark-inside", kError, "\"@R@\" that is not at the start of the keywords",
     "\"@R@\" makes a regular expression of the keywords at their very start only. Anywhere else, and in a parameter, "
     "it is plain text that no log holds.",
     "\"keyWords\": \" @R@signal \\\\d+\"", "\"keyWords\": \"@R@ signal \\\\d+\""},
    {Code::kMarkBroken, "mark-broken", kError, "a mark that is plain text where it stands",
     "A mark is an \"@\", a capital letter or a sign, and an \"@\", without blanks. Anything less is plain text that "
     "no log holds. \"@L@\" and \"@T@\" belong in front of a parameter's expression; \"@|@\" and \"@&@\" separate "
     "terms of plain keywords, not of an expression.",
     "\"keyWords\": \"@r@signal \\\\d+\"", "\"keyWords\": \"@R@signal \\\\d+\""},
    {Code::kMarkUseless, "mark-useless", kWarning, "a mark that does something else than it seems",
     "What stands in front of \"@L@\" is dropped. \"@T@\" is taken out of the expression, wherever and however often "
     "it stands there.",
     "\"v_pid\": \"pid: @L@(\\\\d+)\"", "\"v_pid\": \"@L@pid: (\\\\d+)\""},
    {Code::kPlainExpression, "plain-expression", kError, "signs of an expression in plain keywords",
     "Keywords are an expression only behind \"@R@\"; without it every sign stands for itself, and such a text is "
     "found in no log.",
     "\"keyWords\": \"signal \\\\d+\"", "\"keyWords\": \"@R@signal \\\\d+\""},
    {Code::kNeverMatches, "rule-never-matches", kError, "keywords that no line matches",
     "A line holds no line feed, and one of more than 2048 bytes is passed over. Behind \"$\" and in front of \"^\" "
     "stands nothing in a line.",
     "\"keyWords\": \"@R@cost: $(\\\\d+)\"", "\"keyWords\": \"@R@cost: \\\\$(\\\\d+)\""},
    {Code::kControlCharacter, "control-character", kError, "a control character in keywords or an expression",
     "JSON has escapes of its own: \"\\b\" is a backspace there, \"\\f\" a form feed, and no log holds them. In JSON a "
     "backslash is written twice.",
     "\"v_stack\": \"@T@\\bat .*\"", "\"v_stack\": \"@T@\\\\bat .*\""},
    {Code::kRuleUnreachable, "rule-unreachable", kError, "a rule that an earlier one leaves no line",
     "A line goes to the first rule that accepts it. The earlier rule accepts every line that this one does, and it is "
     "never spent: it stands under \"segmentRule\" or has an \"@L@\" parameter. Put the narrower rule first, or both "
     "sets of parameters into one rule.",
     "{\"name\": \"any\", \"keyWords\": \"Error\", \"v_x\": \"@L@(.*)\"},\n"
     "{\"name\": \"io\", \"keyWords\": \"IOError\", \"v_x\": \"(.*)\"}",
     "{\"name\": \"io\", \"keyWords\": \"IOError\", \"v_x\": \"(.*)\"},\n"
     "{\"name\": \"any\", \"keyWords\": \"Error\", \"v_x\": \"@L@(.*)\"}"},
    {Code::kRuleShadowed, "rule-shadowed", kWarning, "a rule that must wait until an earlier one is spent",
     "A line goes to the first rule that accepts it. The earlier rule accepts every line that this one does, so this "
     "one misses the first of them, and all until the earlier rule has all its parameters. Put the narrower rule "
     "first, "
     "or both sets of parameters into one rule.",
     "{\"name\": \"pid\", \"keyWords\": \"Process: \", \"v_pid\": \"PID: (\\\\d+)\"},\n"
     "{\"name\": \"name\", \"keyWords\": \"Process: \", \"v_name\": \"Process: (\\\\S+)\"}",
     "{\"name\": \"process\", \"keyWords\": \"Process: \", \"v_pid\": \"PID: (\\\\d+)\", \"v_name\": \"Process: "
     "(\\\\S+)\"}"},
    // --- Expressions and parameters ---
    {Code::kRegexInvalid, "regex-invalid", kError, "an invalid regular expression",
     "An expression that does not compile ends the device process as soon as it is applied to a line, or, in "
     "\"subcataLog\", to a path. Each segment of \"subcataLog\" is an expression of its own, together with the "
     "directories before it. In JSON a backslash is written twice.",
     "\"v_pid\": \"(\\\\d+\"", "\"v_pid\": \"(\\\\d+)\""},
    {Code::kRegexNotPortable, "regex-not-portable", kError, "a regular expression that the device refuses",
     "The C++ library of this machine takes the expression, the device's does not, and an expression that does not "
     "compile ends the device process.",
     "\"v_list\": \"ids: (.*)}\"", "\"v_list\": \"ids: (.*)\\\\}\""},
    {Code::kRegexExponential, "regex-exponential", kWarning,
     "an expression that can take exponential time in std::regex",
     "Where a repeated part can be divided into repetitions in several ways, an engine that goes back tries a line "
     "that does not match in each of them: the time doubles with every few bytes. The input that is named was tried "
     "out with std::regex. The library searches portable expressions with a machine of its own that takes linear "
     "time, and leaves the others to std::regex: such an expression is one edit away from that. Let each byte have "
     "one place where it can belong.",
     "\"v_path\": \"^((?:/?\\\\w+)+)!\"", "\"v_path\": \"^((?:/?\\\\w+)(?:/\\\\w+)*)!\""},
    {Code::kParamWithoutGroup, "param-without-group", kWarning, "a parameter that takes nothing from the line",
     "A parameter's value is what the first capture group of its expression takes. Without a group the record is made "
     "with an empty value.",
     "\"v_pid\": \"PID: \\\\d+\"", "\"v_pid\": \"PID: (\\\\d+)\""},
    {Code::kParamNever, "param-never-matches", kError, "a parameter that is never found",
     "A parameter is searched in the lines that the keywords accept. When no such line can match it, its record is "
     "never made, and a plain rule is never spent.",
     "\"keyWords\": \"@R@^Process: \", \"v_pid\": \"^PID: (\\\\d+)\"",
     "\"keyWords\": \"@R@^(?:Process|PID): \", \"v_pid\": \"^PID: (\\\\d+)\""},
    {Code::kValueEmpty, "value-empty", kError, "a value that is always empty",
     "The value is what the first group takes. In \"(?!...)\" it takes nothing; as few times as possible, \"*?\", is "
     "none at all when nothing has to follow; and without an expression behind \"@L@\" or \"@T@\" there is nothing to "
     "take. A template makes no result of an empty value. (Where no template names it, this is a warning.)",
     "\"v_name\": \"name: (.*?)\"", "\"v_name\": \"name: (.*)\""},
    {Code::kValueMayBeEmpty, "value-may-be-empty", kWarning, "a value that is likely empty or cut off",
     "A parameter is taken once: when its group can be left out, the first line without the text gives an empty value "
     "for good. An expression that matches the empty text matches at the begin of every line, and so does not get to "
     "where the text stands.",
     "\"v_pid\": \"pid: (\\\\d+)?\"", "\"v_pid\": \"pid: (\\\\d+)\""},
    {Code::kLaterGroup, "later-group", kWarning, "a group that is not read",
     "The value is what the first group takes. Later ones are for repeating and choosing; write \"(?:\" for those, and "
     "give each value a parameter of its own.",
     "\"v_pid\": \"(INFO|WARN): pid (\\\\d+)\"", "\"v_pid\": \"(?:INFO|WARN): pid (\\\\d+)\""},
    {Code::kStackKeepsPrefix, "stack-keeps-prefix", kWarning, "a stack pattern that keeps the prefix of log lines",
     "A trace is made of what the pattern matches in each line. This one also matches the time and the process id that "
     "a log puts in front of a frame, so every crash gets a fingerprint of its own. Start the pattern at the frame.",
     "\"v_stack\": \"@T@.*at .*\"", "\"v_stack\": \"@T@\\\\bat .*|Caused by: .*\""},
    {Code::kStackWithoutCauses, "stack-without-causes", kWarning, "a stack pattern that leaves out \"Caused by:\"",
     "The pattern takes Java frames but no \"Caused by:\" line, and without these the stack filter cannot cut the "
     "trace "
     "into its causes. Patterns that take native frames too are for thread dumps, which have no causes.",
     "\"v_stack\": \"@T@\\\\bat .*\"", "\"v_stack\": \"@T@\\\\bat .*|Caused by: .*|Suppressed: .*\""},
    // --- Records ---
    {Code::kDependUnmet, "depend-unmet", kError, "a \"depend\" that nothing can meet",
     "A rule with \"depend\" waits for a record whose name (rule name, \".\", parameter) contains that text. No "
     "parameter of the entry has such a name, or only those of rules that wait for this rule in turn. A rule without "
     "parameters makes no record.",
     "{\"name\": \"fatal\", \"keyWords\": \"FATAL\"},\n{\"name\": \"pid\", \"depend\": \"fatal\", ... }",
     "{\"name\": \"fatal\", \"keyWords\": \"FATAL\", \"v_line\": \"(.*)\"},\n"
     "{\"name\": \"pid\", \"depend\": \"fatal\", ... }"},
    {Code::kVariableUnmet, "variable-unmet", kError, "a variable that nothing can fill",
     "\"@{name}@\" stands for the value of the record of exactly that name. No parameter of the entry makes it, or "
     "only "
     "one of a rule that waits for this rule in turn, so the rule is never tried.",
     "{\"name\": \"head\", \"keyWords\": \"PID\", \"v_pid\": \"PID: (\\\\d+)\"},\n"
     "{\"name\": \"dump\", \"keyWords\": \"pid @{head.pid}@ \", ... }",
     "{\"name\": \"head\", \"keyWords\": \"PID\", \"v_pid\": \"PID: (\\\\d+)\"},\n"
     "{\"name\": \"dump\", \"keyWords\": \"pid @{head.v_pid}@ \", ... }"},
    {Code::kVariableUnclosed, "variable-unclosed", kError, "a variable without its closing mark",
     "A variable ends in \"}@\". Without that, it is plain text that no log holds, or reaches up to the mark of the "
     "next "
     "one.",
     "\"keyWords\": \"pid @{head.v_pid} \"", "\"keyWords\": \"pid @{head.v_pid}@ \""},
    {Code::kVariableRepeated, "variable-repeated", kWarning, "a variable twice in one text",
     "With each line one place of a variable in a text is filled. Until the last one is, the rule is not tried: a log "
     "in which the line that it is for comes at once loses it.",
     "\"keyWords\": \"@{a.v_x}@ -> @{a.v_x}@\"", "\"keyWords\": \"@{a.v_x}@ -> \""},
    {Code::kVariableOfStack, "variable-of-stack", kWarning, "a variable that stands for nothing",
     "A parameter with \"@T@\" notes a place; the stack is cut at the end. As a variable it is the empty text.",
     "\"keyWords\": \"in @{trace.v_stack}@\"", "\"keyWords\": \"in @{trace.v_name}@\""},
    {Code::kVariableInExpression, "variable-in-expression", kError, "a variable whose value can break an expression",
     "The value of a variable is written into the text, and in an expression its signs count as such. A log in which "
     "the group that gives it takes a \"(\" or the like makes the expression invalid, and that ends the device "
     "process. Let the group take letters, digits and the like only, or use plain keywords.",
     "\"v_task\": \"task (.*):\", ... \"keyWords\": \"@R@held by @{hung.v_task}@/\"",
     "\"v_task\": \"task (\\\\w+):\", ... \"keyWords\": \"@R@held by @{hung.v_task}@/\""},
    {Code::kRuleNameRepeated, "rule-name-repeated", kWarning, "two rules of one name in an entry",
     "A record is named after its rule and its parameter. Of two rules of one name nobody can say whose record it is; "
     "of records of one name the first is the one that counts.",
     "{\"name\": \"head\", \"v_pid\": ...}, {\"name\": \"head\", \"v_uid\": ...}",
     "{\"name\": \"head\", \"v_pid\": ...}, {\"name\": \"user\", \"v_uid\": ...}"},
    {Code::kRecordUnused, "record-unused", kWarning, "a record that nothing uses",
     "No template, \"depend\" or variable names the record. A plain rule still waits for the parameter before it is "
     "spent.",
     "\"v_pid\": \"PID: (\\\\d+)\"  with the template  \"PROCESS\": \"head.v_name\"",
     "\"v_pid\": \"PID: (\\\\d+)\"  with the template  \"PID\": \"head.v_pid\""},
    // --- Templates ---
    {Code::kTemplateUnknownRecord, "template-unknown-record", kError, "a template with a record that no rule makes",
     "A template is the name of a record, rule name, \".\" and parameter, or several joined by \"+\" or by \":\", "
     "without blanks. A name that no rule of the feature makes adds nothing, and a key without any value is not made.",
     "\"PID\": \"process.pid\"", "\"PID\": \"process.v_pid\""},
    {Code::kTemplateMixed, "template-mixed", kWarning, "a template with both \"+\" and \":\"",
     "In a template with a \"+\" a \":\" belongs to the names of the records. One template has one kind of separator.",
     "\"REASON\": \"head.v_type:head.v_text+head.v_code\"", "\"REASON\": \"head.v_type:head.v_text:head.v_code\""},
    {Code::kStackWithoutMark, "stack-without-mark", kWarning, "a \"STACK\" that is no stack",
     "Only a parameter with \"@T@\" cuts a stack out of the log. A value of another one is part of a line, and the "
     "filter makes one frame of it.",
     "\"STACK\": \"fatal.v_text\"", "\"STACK\": \"fatal.v_stack\""},
    {Code::kKeyOverwritten, "key-overwritten", kWarning, "a result that the filter writes over",
     "When there is a \"STACK\", its fingerprint goes under \"FINGERPRINT\", whatever a template has put there.",
     "\"FINGERPRINT\": \"head.v_id\"", "\"BUILD_ID\": \"head.v_id\""},
    {Code::kKeyCase, "key-case", kWarning, "a result key in another spelling",
     "Keys are compared byte by byte. Only a \"STACK\" is filtered and given a fingerprint (another spelling of it is "
     "an error), only to \"REASON\" values are appended, and two spellings are two results.",
     "\"Stack\": \"fatal.v_stack\"", "\"STACK\": \"fatal.v_stack\""},
};

constexpr bool IsInOrder() {
  for (size_t i = 0; i < std::size(kCodes); ++i) {
    if (kCodes[i].code != static_cast<Code>(i)) return false;
  }
  return true;
}
static_assert(IsInOrder(), "DescriptionOf looks codes up by their number");

std::string Indented(std::string_view lines, const char* indentation) {
  std::string text;
  std::istringstream stream{std::string(lines)};
  for (std::string line; std::getline(stream, line);) text.append(indentation).append(line).append("\n");
  return text;
}

// In lines of at most 100 bytes where blanks allow it.
std::string Wrapped(std::string_view text) {
  constexpr size_t kWidth = 100;
  std::string lines;
  while (text.size() > kWidth) {
    const size_t blank = text.rfind(' ', kWidth);
    if (blank == std::string_view::npos) break;
    lines.append(text.substr(0, blank)).append("\n");
    text.remove_prefix(blank + 1);
  }
  return lines.append(text).append("\n");
}

}  // namespace

std::span<const FindingCode> AllFindingCodes() { return kCodes; }

const FindingCode& DescriptionOf(Code code) { return kCodes[static_cast<size_t>(code)]; }

const FindingCode* FindFindingCode(std::string_view name) {
  const auto* row = std::find_if(std::begin(kCodes), std::end(kCodes),
                                 [name](const FindingCode& candidate) { return candidate.name == name; });
  return row == std::end(kCodes) ? nullptr : row;
}

std::string_view NameOf(Severity severity) { return severity == kError ? "error" : "warning"; }

void PrintWhy(const FindingCode& code, std::ostream& out) {
  out << code.name << " (" << NameOf(code.severity) << "): " << code.summary << "\n\n"
      << Wrapped(code.paragraph) << "\nWrong:\n\n"
      << Indented(code.wrong, "    ") << "\nRight:\n\n"
      << Indented(code.right, "    ");
}

void PrintCodesAsMarkdown(std::ostream& out) {
  out << "# What `kestrix check` finds\n\n"
         "`kestrix check --why CODE` prints the same text. This page is generated: `kestrix check --print codes`.\n"
         "An error is what can end the device process, and what keeps a feature, a rule or a result from ever coming\n"
         "about. Anything else is a warning. Where a finding depends on its place, the table has the usual "
         "severity.\n\n"
         "| code | severity | finding |\n|---|---|---|\n";
  for (const FindingCode& code : kCodes) {
    std::string summary;
    for (const char c : code.summary) summary.append(c == '|' ? "\\|" : std::string(1, c));
    out << "| [" << code.name << "](#" << code.name << ") | " << NameOf(code.severity) << " | " << summary << " |\n";
  }
  for (const FindingCode& code : kCodes) {
    out << "\n## " << code.name << "\n\n"
        << Wrapped(code.paragraph) << "\nWrong:\n\n"
        << Indented(code.wrong, "    ") << "\nRight:\n\n"
        << Indented(code.right, "    ");
  }
}
