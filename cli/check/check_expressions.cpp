#include <algorithm>
#include <map>
#include <optional>
#include <regex>

#include "cli/check/checks.h"
#include "cli/check/regex_faults.h"
#include "cli/check/regex_time.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "rules/rule_syntax.h"
#include "stack/stack_util.h"
#include "util/string_util.h"

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
  explicit StackSample(const std::string& pattern) : expression_(pattern) {}

  // What the pattern takes of a line, without and with each prefix, until `found` says that this is it.
  template <typename Lines, typename Found>
  bool takesAny(const Lines& lines, Found found) const {
    return std::any_of(std::begin(lines), std::end(lines), [&](const char* line) {
      return takes(line, found) || std::any_of(std::begin(kPrefixes), std::end(kPrefixes), [&](const char* prefix) {
               return takes(std::string(prefix) + line, found);
             });
    });
  }

 private:
  template <typename Found>
  bool takes(const std::string& line, Found found) const {
    const std::optional<std::string> taken = MatchIn(line, expression_);
    return taken && found(*taken);
  }

  std::regex expression_;
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
        if (!checkPath(entry, candidate, path.size(), alternative.offset + segment.offset, segment.text)) break;
        path = candidate + "/";
      }
    }
  }

 private:
  struct Verdict {
    std::optional<RegexFault> fault;
    std::optional<SlowInput> slow;
  };

  const Verdict& verdictOn(const std::string& expression, bool wholeText) {
    const auto [known, isNew] = verdicts_.try_emplace({expression, wholeText});
    Verdict& verdict = known->second;
    if (isNew) {
      verdict.fault = FindRegexFault(expression);
      if (!verdict.fault || verdict.fault->isPortability) verdict.slow = FindSlowInput(expression, wholeText);
    }
    return verdict;
  }

  // True for an expression that this machine can work with.
  bool check(const PlacedExpression& placed) {
    const std::string filled = WithVariablesAs(placed.expression, kSampleValue);
    const Verdict& verdict = verdictOn(filled, false);
    const JsonText& json = placed.text.json;
    if (verdict.fault) {
      const size_t offset = OffsetBeforeFilling(placed.expression, kSampleValue, verdict.fault->offset);
      addFault(*verdict.fault, json.span(placed.offset + offset, verdict.fault->length));
    }
    if (verdict.slow) addSlow(*verdict.slow, json.span(placed.offset, placed.expression.size()));
    return !verdict.fault || verdict.fault->isPortability;
  }

  bool checkPath(const PlacedEntry& entry, const std::string& candidate, size_t dirSize, size_t offset,
                 const std::string& segment) {
    const Verdict& verdict = verdictOn(candidate, true);
    if (verdict.slow) addSlow(*verdict.slow, entry.subcataLog.json.span(offset, segment.size()));
    if (!verdict.fault) return true;
    const RegexFault& fault = *verdict.fault;
    const size_t dirText = entry.dirOrFile.text().size();
    if (fault.offset >= dirSize) {
      addFault(fault, entry.subcataLog.json.span(offset + fault.offset - dirSize, fault.length));
    } else if (fault.offset < dirText) {
      addFault(fault, entry.dirOrFile.json.span(fault.offset, std::min(fault.length, dirText - fault.offset)));
    } else {
      addFault(fault, entry.subcataLog.json.span(offset, segment.size()));
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
      if (std::regex(WithVariablesAs(applied, kSampleValue)).mark_count() > 0) return;
      findings_.add(Code::kParamWithoutGroup, model_.matchFile, pattern.span,
                    "without a capture group the value is always empty");
    }
  }

  void checkStackPattern(const PlacedText& pattern, const std::string& applied, size_t offset) {
    const std::string text = StringUtil::EraseString(applied, std::string(kStackMark));
    // A mark in the middle is rare: then the place of a fault is that of the whole.
    const bool isInFront = applied == std::string(kStackMark) + text;
    if (isInFront ? !check({pattern, offset + kStackMark.size(), text}) : FindRegexFault(text).has_value()) {
      if (!isInFront) addFault(*FindRegexFault(text), pattern.span);
      return;
    }
    const std::string filled = WithVariablesAs(text, kSampleValue);
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
    const StackSample sample(pattern);
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

  void addFault(const RegexFault& fault, Span span) {
    findings_.add(
        fault.isPortability ? Code::kRegexNotPortable : Code::kRegexInvalid, model_.matchFile, span,
        (fault.isPortability ? "the device refuses this expression: " : "invalid expression: ") + fault.reason);
  }

  void addSlow(const SlowInput& slow, Span span) {
    findings_.add(Code::kRegexExponential, model_.matchFile, span,
                  "std::regex can take exponential time for this, for example on " + Quoted(slow.before) + ", " +
                      std::to_string(slow.count) + " times " + Quoted(slow.repeated) + " and then " +
                      Quoted(slow.after));
  }

  const RuleModel& model_;
  Findings& findings_;
  std::map<std::pair<std::string, bool>, Verdict> verdicts_;
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
