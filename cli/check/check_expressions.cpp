#include <algorithm>
#include <map>
#include <optional>

#include "cli/check/checks.h"
#include "cli/check/expression_verdict.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex.h"
#include "regex/regex_reader.h"
#include "rules/rule_syntax.h"
#include "stack/stack_util.h"

namespace {

constexpr char kSampleValue[] = "x";  // in place of a variable

constexpr char kTime[] = "12:34:56.789";
constexpr char kKernelTime[] = "54321.987654";
constexpr char kProcess[] = "4321";

// What logs put in front of a line, each with the time or the process id.
constexpr const char* kPrefixes[] = {
    "11-21 12:34:56.789  4321  4345 E AndroidRuntime: ",
    "2026-11-21 12:34:56.789  4321  4345 F DEBUG   : ",
    "E/AndroidRuntime( 4321): ",
    "<4>[54321.987654] c4 4321 ",
    "[54321.987654] ",
};

constexpr const char* kJavaFrames[] = {
    "\tat com.example.app.Main.run(Main.java:42)",
    "    at com.example.app.Main.run(Main.java:42)",
    "  at com.example.app.Main.run(Main.java:42)",
    "at com.example.app.Main.run(Main.java:42)",
};
constexpr const char* kNativeFrames[] = {
    "      #00 pc 000000000004e1f0  /apex/com.android.runtime/lib64/bionic/libc.so (abort+168)",
    "  native: #00 pc 000000000004e1f0  /apex/com.android.runtime/lib64/bionic/libc.so (abort+168)",
    "    #00 pc 000000000004e1f0  /vendor/lib64/libexample.so",
};
constexpr const char* kKernelFrames[] = {
    " example_probe+0x1a4/0x2c8",
    " [<ffffff8008081e5c>] example_probe+0x1a4/0x2c8 [example]",
};
constexpr const char* kCauses[] = {
    "Caused by: java.lang.IllegalStateException: broken",
    "Caused by: java.lang.IllegalStateException",
    "\tCaused by: java.lang.IllegalStateException: broken",
};

bool Contains(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// Tries a stack pattern on sample lines as a trace is cut.
class StackSample {
 public:
  explicit StackSample(const std::string& pattern) : regex_(pattern) {}

  // What the pattern takes of a line, without and with each prefix, until `found` says that this is it.
  template <typename Lines, typename Found>
  bool takesAny(const Lines& lines, Found found) {
    return std::any_of(std::begin(lines), std::end(lines), [&](const char* line) {
      return takes(line, found) || std::any_of(std::begin(kPrefixes), std::end(kPrefixes), [&](const char* prefix) {
               return takes(std::string(prefix) + line, found);
             });
    });
  }

 private:
  template <typename Found>
  bool takes(const std::string& line, Found found) {
    Regex::Match match;
    return regex_.search(line, match) && found(std::string(match.whole));
  }

  Regex regex_;
};

// Where an expression stands in a file.
struct PlacedExpression {
  const PlacedText& text;
  size_t offset;           // in that text
  std::string expression;  // as it stands there
};

class ExpressionCheck {
 public:
  ExpressionCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void checkRule(const PlacedRule& rule) {
    const std::string& keyWords = rule.keyWords.text();
    if (FormOf(keyWords) == KeyWordForm::kRegex) {
      check({rule.keyWords, kRegexMark.size(), keyWords.substr(kRegexMark.size())});
    }
    for (const PlacedParam& param : rule.params) checkParam(param.pattern);
  }

  // Each part of a path is compiled together with the directories in front of it.
  void checkPaths(const PlacedEntry& entry) {
    const std::string dir = entry.dirOrFile.text() + (entry.dirOrFile.text().ends_with('/') ? "" : "/");
    for (const Piece& alternative : PiecesOf(entry.subcataLog.text(), kOrMark)) {
      std::string path = dir;
      for (const Piece& segment : PiecesOf(alternative.text, kPathSeparator)) {
        const std::string candidate = path + segment.text;
        if (IsCutAtSlash(candidate, dir + alternative.text)) {
          addCut(entry, alternative, segment);
          break;
        }
        if (!checkPath(entry, candidate, path.size(), alternative.offset + segment.offset, segment.text)) break;
        path = candidate + "/";
      }
    }
  }

 private:
  const ExpressionVerdict& verdictOn(const std::string& expression) {
    const auto [known, isNew] = verdicts_.try_emplace(expression);
    if (isNew) known->second = JudgeExpression(expression);
    return known->second;
  }

  void add(const ExpressionVerdict& verdict, Span span) {
    Finding& finding = findings_.add(verdict.code, model_.matchFile, span, verdict.message);
    if (verdict.givesUp) finding.severity = Severity::kError;
  }

  // True for an expression that compiles on this machine.
  bool check(const PlacedExpression& placed) {
    const std::string filled = WithVariablesAs(placed.expression, kSampleValue);
    const ExpressionVerdict& verdict = verdictOn(filled);
    const RegexReading& reading = verdict.reading;
    if (!reading.isSearchable()) {
      const size_t offset = OffsetBeforeFilling(placed.expression, kSampleValue, reading.offset);
      add(verdict, placed.text.json.span(placed.offset + offset, reading.length));
    }
    return verdict.compiles;
  }

  // True when a part of a path ends inside brackets that are closed in a later one.
  static bool IsCutAtSlash(const std::string& part, const std::string& whole) {
    const RegexIssue issue = ReadRegex(part).issue;
    const bool isOpen = issue == RegexIssue::kUnclosedClass || issue == RegexIssue::kUnclosedGroup;
    return isOpen && ReadRegex(whole).issue == RegexIssue::kNone;
  }

  void addCut(const PlacedEntry& entry, const Piece& alternative, const Piece& part) {
    const size_t slash = part.offset + part.text.size();
    const Span span = entry.subcataLog.json.span(alternative.offset + slash, kPathSeparator.size());
    findings_
        .add(Code::kRegexInvalid, model_.matchFile, span,
             "\"/\" separates the parts of \"subcataLog\", inside brackets too, so that " + Quoted(part.text) +
                 " is compiled by itself; write \"\\\\x2f\"")
        .fix = Fix{span, "\\\\x2f"};
  }

  bool checkPath(const PlacedEntry& entry, const std::string& candidate, size_t dirSize, size_t offset,
                 const std::string& segment) {
    const ExpressionVerdict& verdict = verdictOn(candidate);
    const RegexReading& reading = verdict.reading;
    if (reading.isSearchable()) return true;
    const size_t dirText = entry.dirOrFile.text().size();
    if (reading.offset >= dirSize) {
      add(verdict, entry.subcataLog.json.span(offset + reading.offset - dirSize, reading.length));
    } else if (reading.offset < dirText) {
      add(verdict, entry.dirOrFile.json.span(reading.offset, std::min(reading.length, dirText - reading.offset)));
    } else {
      add(verdict, entry.subcataLog.json.span(offset, segment.size()));
    }
    return false;
  }

  void checkParam(const PlacedText& pattern) {
    const std::string applied(AppliedPattern(pattern.text()));
    const size_t offset = pattern.text().size() - applied.size();
    if (applied.empty() && offset > 0) return;  // that is a matter of its mark
    if (IsStackPattern(pattern.text())) {
      checkStackPattern(pattern, applied, offset);
    } else if (check({pattern, offset, applied})) {
      if (Regex(WithVariablesAs(applied, kSampleValue)).groupCount() > 0) return;
      findings_.add(Code::kParamWithoutGroup, model_.matchFile, pattern.span,
                    "without a capture group the value is always empty");
    }
  }

  void checkStackPattern(const PlacedText& pattern, const std::string& applied, size_t offset) {
    const std::string text = StackExpression(applied);
    // A mark in the middle is rare: then the place of a fault is that of the whole.
    const bool isInFront = applied == std::string(kStackMark) + text;
    const std::string filled = WithVariablesAs(text, kSampleValue);
    if (isInFront) {
      check({pattern, offset + kStackMark.size(), text});
    } else if (!verdictOn(filled).isSound()) {
      add(verdictOn(filled), pattern.span);
    }
    if (!verdictOn(filled).isSound()) return;
    const auto [known, isNew] = stacks_.try_emplace(filled);
    if (isNew) known->second = judgeStack(filled);
    if (known->second.keepsPrefix) {
      findings_.add(Code::kStackKeepsPrefix, model_.matchFile, pattern.span,
                    "this takes the log prefix with its time or process id: each crash gets its own fingerprint");
    }
    if (known->second.leavesOutCauses) {
      findings_.add(Code::kStackWithoutCauses, model_.matchFile, pattern.span,
                    "this takes Java frames, but no \"Caused by:\" line of their trace");
    }
  }

  struct StackVerdict {
    bool keepsPrefix = false;
    bool leavesOutCauses = false;
  };

  static StackVerdict judgeStack(const std::string& pattern) {
    StackSample sample(pattern);
    const auto isFrame = [](const std::string& taken) { return !taken.empty(); };
    const auto hasPrefix = [](const std::string& taken) {
      return Contains(taken, kTime) || Contains(taken, kKernelTime) || Contains(taken, kProcess);
    };
    const auto isCause = [](const std::string& taken) { return StackUtil::HasCausedBy(taken); };
    StackVerdict verdict;
    verdict.keepsPrefix = sample.takesAny(kJavaFrames, hasPrefix) || sample.takesAny(kNativeFrames, hasPrefix) ||
                          sample.takesAny(kKernelFrames, hasPrefix);
    // The dump of all threads of a process has Java and native frames, and no causes.
    verdict.leavesOutCauses = sample.takesAny(kJavaFrames, isFrame) && !sample.takesAny(kNativeFrames, isFrame) &&
                              !sample.takesAny(kCauses, isCause);
    return verdict;
  }

  const RuleModel& model_;
  Findings& findings_;
  std::map<std::string, ExpressionVerdict> verdicts_;
  std::map<std::string, StackVerdict> stacks_;
};

}  // namespace

void CheckExpressions(const RuleModel& model, Findings& findings) {
  ExpressionCheck check(model, findings);
  for (const PlacedEntry& entry : model.entries) {
    check.checkPaths(entry);
    for (const PlacedRule& rule : entry.rules) check.checkRule(rule);
  }
}
