#include "cli/log_lines/line_look.h"

#include <iterator>
#include <memory>
#include <vector>

#include "regex/line_automaton.h"
#include "regex/regex.h"
#include "regex/regex_reader.h"

namespace {

struct Row {
  LineLook look;
  std::string_view name;
  std::string_view pattern;
};

// The first that fits counts.
constexpr Row kRows[] = {
    {LineLook::kJavaFrame, "Java frames", R"(\bat [\w.$<>/]+\([^()]*\))"},
    {LineLook::kNativeFrame, "native frames", R"(#\d+ +pc [0-9a-f]+ )"},
    {LineLook::kKernelFrame, "kernel frames", R"(\b[\w.]+\+0x[0-9a-f]+/0x[0-9a-f]+)"},
    {LineLook::kJavaHead, "heads of Java crashes",
     R"(FATAL EXCEPTION|Caused by: |^[\w.$]+\.[A-Z][\w$]*(?:Exception|Error)(?:: |(?!.)))"},
    {LineLook::kNativeHead, "heads of native crashes", R"(Fatal signal \d|\bsignal \d+ \(SIG|\bbacktrace:)"},
    {LineLook::kKernelHead, "heads of kernel crashes",
     R"(Kernel panic - |Unable to handle kernel |\bBUG: |kernel BUG at |Internal error: |[Cc]all [Tt]race:)"},
    {LineLook::kHangHead, "heads of hangs", R"(\bANR in |----- pid \d+ at )"},
};

constexpr char kOpener[] = R"(\bbacktrace:|[Cc]all [Tt]race:)";

constexpr std::string_view kPrefixes[] = {
    R"(^[\d-]*\d\d-\d\d [\d:.]+ +\d+[- ] *\d+(?:/[^ ]+)? +[VDIWEFA][ /][^:]*: )",
    R"(^(?:[\d-]*\d\d-\d\d [\d:.]+ +)?[VDIWEFA]/[^(]*\( *\d+\): )",
    R"(^(?:<\d+>)?\[ *\d+\.\d+\](?:\[ *[A-Z]\d+\])? *)",
};

constexpr size_t kMaxTableSize = 1024 * 1024;  // bytes

// Whether any row may fit: most lines of a log are turned away by this.
LineAutomaton& AnyRow() {
  static const auto automaton = [] {
    std::vector<RegexNode> patterns;
    for (const Row& row : kRows) patterns.push_back(ReadRegex(row.pattern).tree.value().root);
    return std::make_unique<LineAutomaton>(patterns, kMaxTableSize);
  }();
  return *automaton;
}

}  // namespace

LineLook LookOf(std::string_view line) {
  if (!AnyRow().mayMatch(line)) return LineLook::kNone;
  static std::vector<Regex> patterns = [] {
    std::vector<Regex> compiled;
    for (const Row& row : kRows) compiled.emplace_back(row.pattern);
    return compiled;
  }();
  Regex::Match match;
  for (size_t i = 0; i < patterns.size(); ++i) {
    if (patterns[i].search(line, match)) return kRows[i].look;
  }
  return LineLook::kNone;
}

std::vector<size_t> LinesWithLook(std::string_view log) {
  std::vector<size_t> starts;
  AnyRow().findLines(log, starts);
  return starts;
}

std::string_view NameOf(LineLook look) {
  for (const Row& row : kRows) {
    if (row.look == look) return row.name;
  }
  return "other lines";
}

bool IsOpener(std::string_view line) {
  static Regex opener(kOpener);
  Regex::Match match;
  return opener.search(line, match);
}

size_t PrefixLength(std::string_view line) {
  static std::vector<Regex> patterns(std::begin(kPrefixes), std::end(kPrefixes));
  Regex::Match match;
  for (Regex& pattern : patterns) {
    if (pattern.search(line, match)) return match.whole.size();
  }
  return 0;
}
