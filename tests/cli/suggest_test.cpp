#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/suggest/line_parts.h"
#include "cli/suggest/rule_draft.h"
#include "cli/suggest/selection.h"
#include "regex/regex.h"
#include "tests/cli/transcript.h"

namespace {

constexpr char kCases[] = KESTRIX_SOURCE_DIR "/tests/data-suggest";

TEST(Suggest, PrintsWhatTheTranscriptHolds) { EXPECT_GT(ExpectTranscript(kCases), 8); }

TEST(PartsOf, TellsWordsFromValues) {
  const struct {
    const char* what;
    const char* line;
    const char* keyWords;
    const char* names;
  } kLines[] = {
      {"keys with values", "Process: com.example.tidebook, PID: 7421", "Process: @&@, PID: ", "process pid"},
      {"behind a prefix of logcat", "04-17 09:41:02.402  7421  7421 E Tag: opened /data/a/b in 12 ms",
       "opened @&@ in @&@ ms", "opened in"},
      {"constants in parentheses", "signal 11 (SIGSEGV), code 1", "signal @&@), code ", "signal name code"},
      {"text to the end", "Cause: null pointer dereference", "Cause: ", "cause"},
      {"quoted text", "Abort message: 'no table'", "Abort message: '", "message"},
      {"an exception", "java.lang.IllegalStateException: late", R"(@R@\w\.[A-Z][\w$]*Exception(?:: |(?!.)))",
       "class message"},
      {"no words at all", "12 0x1f", R"(@R@^\d+ 0x[0-9a-fA-F]+(?!.))", "number address"},
      {"marks of the rule language", "a@|@bcd @R@xyz 5", "bcd ", "xyz"},
      {"a repeated name", "at 10 at 20", "at @&@ at ", "at at_2"},
      {"a value that no words tell apart", "at 10 at 10 at 20", "at @&@ at @&@ at ", "at at_2 at_3"},
      {"a word that begins with a digit", "4th=5", "4th=", "number"},
      {"bytes that are no text", "\xff\xfe worse \xc3 bad 7 byte", " worse @&@ byte", "bad"},
      {"nothing", "", "", ""},
  };
  for (const auto& row : kLines) {
    const LineParts parts = PartsOf(row.line);
    std::string names;
    for (const LinePart& part : parts.parts) {
      names += (names.empty() ? "" : " ") + part.name;
      Regex::Match match;
      const bool takesIt =
          part.pattern.empty() || (Regex(part.pattern).search(row.line, match) &&
                                   match.group == std::string_view(row.line).substr(part.begin, part.end - part.begin));
      EXPECT_TRUE(takesIt) << row.what << ": " << part.pattern << " takes " << match.group;
    }
    EXPECT_EQ(row.names, names) << row.what;
    EXPECT_EQ(row.keyWords, KeyWordsFor(row.line, parts, Strictness::kWords)) << row.what;
  }
}

using Lines = std::vector<std::string_view>;

TEST(SelectionOf, NotesTheLineInFrontOfTheStack) {
  const Lines kFrames = {"#00 pc 00012a40 /lib/a.so (a+64)", "#01 pc 00012b80 /lib/a.so (b+8)"};
  Lines many(15, "a line of many");
  many.front() = "Fatal signal 6";
  many.back() = "backtrace:";
  const struct {
    const char* what;
    Lines before;
    size_t noted;
    size_t heads;
  } kRows[] = {
      {"right in front", {"signal 11 (SIGSEGV)", "backtrace:"}, 2, 2},
      {"an empty line between", {"backtrace:", ""}, 3, 2},
      {"nothing in front", {}, 1, 1},
      {"more lines than get rules", many, 15, 12},
  };
  for (const auto& row : kRows) {
    Lines lines = row.before;
    lines.insert(lines.end(), kFrames.begin(), kFrames.end());
    const Selection selection = SelectionOf(lines, {1, lines.size()});
    EXPECT_EQ(row.noted, selection.noted) << row.what;
    EXPECT_EQ(2U, selection.frames.size()) << row.what;
    ASSERT_EQ(row.heads, selection.heads.size()) << row.what;
    EXPECT_EQ(row.noted, selection.heads.back()) << row.what;
  }
}

TEST(TroublesIn, EndsWithTheStackThatBelongsToTheHead) {
  const auto between = [](size_t count) {
    Lines lines = {"FATAL EXCEPTION: main", "\tat a.B.c(B.java:1)"};
    lines.insert(lines.end(), count, "other");
    lines.emplace_back("\tat a.B.d(B.java:2)");
    return lines;
  };
  const auto apart = [](size_t count) {
    Lines lines(count, "other");
    lines.insert(lines.begin(), "Fatal signal 6");
    lines.emplace_back("#00 pc 00012a40 /lib/a.so (a+64)");
    return lines;
  };
  const struct {
    const char* what;
    Lines lines;
    const char* ranges;
  } kRows[] = {
      {"no head", {"Caused by: a.BException: c", "\tat a.B.c(B.java:1)"}, ""},
      {"an empty line", {"FATAL EXCEPTION: main", "\tat a.B.c(B.java:1)", "", "\tat a.B.d(B.java:2)"}, "1-2"},
      {"a cause",
       {"a.BException: c", "\tat a.B.c(B.java:1)", "Caused by: a.DException", "\tat a.B.d(B.java:2)"},
       "1-4"},
      {"a second head", {"ANR in a.b", "other", "Kernel panic - c", " do_exit+0x1/0x2"}, "1-4"},
      {"one behind the other", {"Kernel panic - c", " do_exit+0x1/0x2", "", "ANR in a.b"}, "1-2 4-4"},
      {"a few other lines between frames", between(3), "1-6"},
      {"too many", between(4), "1-2"},
      {"a frame that is far from the head", apart(60), "1-62"},
      {"too far", apart(61), "1-1"},
  };
  for (const auto& row : kRows) {
    std::string ranges;
    for (const LineRange range : TroublesIn(row.lines)) {
      ranges += (ranges.empty() ? "" : " ") + std::to_string(range.first) + "-" + std::to_string(range.last);
    }
    EXPECT_EQ(row.ranges, ranges) << row.what;
  }
}

// "rule(v_a v_b) other(v_c)".
std::string ShapeOf(const std::vector<DraftRule>& rules) {
  std::string shape;
  for (const DraftRule& rule : rules) {
    shape += (shape.empty() ? "" : " ") + rule.name + "(";
    for (const auto& [param, pattern] : rule.params) shape += (shape.ends_with('(') ? "" : " ") + param;
    shape += ")";
  }
  return shape;
}

TEST(DraftsFor, GivesEachKindOfLineARule) {
  const struct {
    const char* what;
    Lines lines;
    const char* loose;      // the first draft
    const char* essential;  // the second one, without what can be missed
    const char* strict;     // the one that asks for all values but times and addresses
  } kRows[] = {
      {"the same words", {"open 5", "open 6"}, "open(v_open)", "open(v_open)", "open(v_open) open_2(v_open)"},
      {"a name that the stack has", {"stack: 12"}, "stack(v_stack_text)", "stack(v_stack_text)", "stack(v_stack_text)"},
      {"a head and a stack",
       {"Process: a.b.C", "signal 11 (SIGSEGV)", "backtrace:", "#00 pc 00012a40 /lib/a.so (a+64)"},
       "process(v_process) signal(v_signal v_name) backtrace(v_stack)",
       "signal(v_signal v_name) backtrace(v_stack)",
       "process(v_process) signal(v_signal v_name) backtrace(v_stack)"},
  };
  for (const auto& row : kRows) {
    const std::vector<Draft> drafts = DraftsFor(row.lines, SelectionOf(row.lines, {1, row.lines.size()}), "x");
    ASSERT_LE(5U, drafts.size()) << row.what;
    EXPECT_EQ(row.loose, ShapeOf(drafts[0].rules)) << row.what;
    EXPECT_EQ(row.essential, ShapeOf(drafts[1].rules)) << row.what;
    EXPECT_EQ(row.strict, ShapeOf(drafts[4].rules)) << row.what;
  }
}

TEST(MakeClean, TakesOutWhatCheckWarnsOf) {
  const NamedTexts kGood = {{"v_x", "one (\\d+)"}};
  const NamedTexts kBad = {{"v_y", "("}};
  const NamedTexts kBadStack = {{"v_x", "one (\\d+)"}, {"v_stack", "@T@("}};
  const auto rule = [](const char* name, const NamedTexts& params, bool isEssential) {
    return DraftRule{name, "", std::string(name) + " one", params, 1, isEssential};
  };
  const struct {
    const char* what;
    std::vector<DraftRule> rules;
    bool isClean;
    const char* left;
  } kRows[] = {
      {"nothing", {rule("a", kGood, true)}, true, "a(v_x)"},
      {"one of two values", {rule("a", {kGood[0], kBad[0]}, true)}, true, "a(v_x)"},
      {"the only value of a rule", {rule("a", kGood, true), rule("b", kBad, false)}, true, "a(v_x)"},
      {"that of an essential rule", {rule("a", kGood, false), rule("b", kBad, true)}, false, "a(v_x) b(v_y)"},
      {"a stack", {rule("a", kGood, true), rule("b", kBadStack, false)}, true, "a(v_x)"},
      {"a stack of an essential rule", {rule("a", kBadStack, true)}, false, "a(v_x v_stack)"},
  };
  for (const auto& row : kRows) {
    Draft draft{"featureFrame_x_1", "KX_x_1", "x", row.rules};
    EXPECT_EQ(row.isClean, MakeClean(draft)) << row.what;
    EXPECT_EQ(row.left, ShapeOf(draft.rules)) << row.what;
  }
}

TEST(Draft, NamesEachResultOnce) {
  const Draft draft{"",
                    "",
                    "x",
                    {{"a", "", "", {{"v_x", "(x)"}, {"v_b_x", "(x)"}, {"v_fingerprint", "(x)"}}},
                     {"b", "", "", {{"v_x", "(x)"}, {"v_stack", "@T@x"}}}}};
  std::string keys;
  for (const auto& [key, record] : draft.templates()) keys += key + "=" + record + " ";
  EXPECT_EQ("X=a.v_x B_X=a.v_b_x A_FINGERPRINT=a.v_fingerprint B_X_2=b.v_x STACK=b.v_stack ", keys);
}

}  // namespace
