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
    {Code::kRegexMarkInside, "regex-mark-inside", kWarning, "\"@R@\" that is not at the start of the keywords",
     "\"@R@\" makes a regular expression of the keywords at their very start only. Anywhere else, and in a parameter, "
     "it is plain text that no log holds.",
     "\"keyWords\": \" @R@signal \\\\d+\"", "\"keyWords\": \"@R@ signal \\\\d+\""},
    {Code::kRuleUnreachable, "rule-unreachable", kWarning, "a rule that an earlier one leaves no line",
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
    {Code::kVariableUnclosed, "variable-unclosed", kWarning, "a variable without its closing mark",
     "A variable ends in \"}@\". Without that, it is plain text that no log holds, or reaches up to the mark of the "
     "next "
     "one.",
     "\"keyWords\": \"pid @{head.v_pid} \"", "\"keyWords\": \"pid @{head.v_pid}@ \""},
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
         "Errors end the device process or lose a rule, warnings are likely mistakes.\n\n"
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
