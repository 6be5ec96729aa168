#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/suggest/line_parts.h"
#include "cli/suggest/selection.h"
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
      {"nothing", "", "", ""},
  };
  for (const auto& row : kLines) {
    const LineParts parts = PartsOf(row.line);
    std::string names;
    for (const LinePart& part : parts.parts) names += (names.empty() ? "" : " ") + part.name;
    EXPECT_EQ(row.names, names) << row.what;
    EXPECT_EQ(row.keyWords, KeyWordsFor(row.line, parts, Strictness::kWords)) << row.what;
  }
}

TEST(SelectionOf, NotesTheLineInFrontOfTheStack) {
  const std::vector<std::string_view> kFrames = {"#00 pc 00012a40 /lib/a.so (a+64)", "#01 pc 00012b80 /lib/a.so (b+8)"};
  const struct {
    const char* what;
    std::vector<std::string_view> before;
    size_t noted;
  } kRows[] = {
      {"right in front", {"signal 11 (SIGSEGV)", "backtrace:"}, 2},
      {"an empty line between", {"backtrace:", ""}, 3},
      {"nothing in front", {}, 1},
  };
  for (const auto& row : kRows) {
    std::vector<std::string_view> lines = row.before;
    lines.insert(lines.end(), kFrames.begin(), kFrames.end());
    const Selection selection = SelectionOf(lines, {1, lines.size()});
    EXPECT_EQ(row.noted, selection.noted) << row.what;
    EXPECT_EQ(2U, selection.frames.size()) << row.what;
  }
}

}  // namespace
