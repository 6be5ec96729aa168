#include <gtest/gtest.h>

#include "stack/stack_util.h"
#include "tests/support/log_fake.h"
#include "util/string_util.h"

namespace {

using Result = std::map<std::string, std::string>;

Result Filter(Result result, const std::string& ignored = "") {
  StackUtil::FilterTrace(result, ignored);
  return result;
}

// Lines "name.0", "name.1" and so on, each ending in a line feed.
std::string Lines(const std::string& name, size_t count) {
  std::string lines;
  for (size_t i = 0; i < count; ++i) lines += name + "." + std::to_string(i) + "\n";
  return lines;
}

}  // namespace

TEST(FilterTrace, CutsAndNames) {
  // In the trace "|" stands for a line feed, in the stack for a carriage return and a line feed; each frame ends in
  // ";".
  struct Case {
    const char *what, *trace, *stack, *frames;
  };
  const Case cases[] = {
      {"one block", "a||b|c|d|", "a|b|c|d", "a;b;d;"},
      {"last cause first", "h|a|Caused by: NullPointerException|d|e|f", "NullPointerException|d|e|f|h|a", "d;e;f;"},
      {"suppressed, unknown name", "h| Suppressed: x|d", "UnMatchedException|d|h", "d;"},
      {"near misses", "caused by:|suppressed: x|Caused by", "caused by:|suppressed: x|Caused by",
       "caused by:;suppressed: x;Caused by;"},
      {"cause without lines", "h|Caused by: x|Caused by: SecurityException|d", "SecurityException|d|h", "d;"},
      {"cause at the end", "h|a|Caused by: x", "h|a", "h;a;"},
      {"name on top of one block", "RuntimeException|a", "RuntimeException|a", "RuntimeException;a;"},
      {"tabs go first", "h|\tat a.B(C.java:1)|\tCaus\ted by:|d\t", "UnMatchedException|d|h|a.B(C.java:1)", "d;"},
      {"carriage returns", " at a(b)\r|x\r|\r", "a(b|x\r|\r", "a(b;x\r;\r;"},
      {"empty names", "at |x|at ", "x", ";x;;"},
      {"only an empty name", "at ", "", ";"},
      {"noise in the name", "a|#1 pc a /libc.so|  - x.so (f+1)|b", "a|b", "a;b;"},
      {"noise beside the name", "panic #1 pc a /x.so", "/x.so", "/x.so;"},
      {"noise names the stack", "h|Caused by: x|#1 pc a /libc.so", "UnMatchedException|/libc.so|h", "/libc.so;"},
      {"first panic", "libart.so|panic|panic.|libc.so|kthread", "panic|panic.|libc.so|kthread",
       "panic;panic.;kthread;"},
      {"dumper", "libc.so|libart.so|panic|kthread|x.libc.so", "libart.so|panic|kthread|x.libc.so",
       "libart.so;panic;x.libc.so;"},
      {"both too late", "libc.so|libart.so|panic|kthread", "libc.so|libart.so|panic|kthread",
       "libc.so;libart.so;kthread;"},
      {"whole line counts", "libc.so|panic #1 pc a /libc.so|libc.so|libc.so|kthread",
       "/libc.so|libc.so|libc.so|kthread", "/libc.so;libc.so;kthread;"},
      {"first level does not", "  - x (f+1)|libc.so|libc.so|libc.so|kthread", "unknown|libc.so|libc.so|libc.so|kthread",
       "unknown;libc.so;kthread;"},
      {"short noise", "libc.so|panic|kthread", "libc.so|panic|kthread", "libc.so;panic;kthread;"},
  };
  for (const Case& c : cases) {
    const std::string stack = StringUtil::ReplaceStr(c.stack, "|", "\r\n");
    Result result = Filter({{"STACK", StringUtil::ReplaceStr(c.trace, "|", "\n")}});
    EXPECT_EQ(stack, result["STACK"]) << c.what;
    EXPECT_EQ(StackUtil::CalcFingerPrint(stack, 0, 1), result["FINGERPRINT"]) << c.what;
    std::string frames;
    for (const char* key : {"FST_FRAME", "SEC_FRAME", "LAST_FRAME"}) {
      if (result.count(key) != 0) frames += result[key] + ";";
    }
    EXPECT_EQ(c.frames, frames) << c.what;
  }
}

TEST(FilterTrace, KeepsThirtyLines) {
  struct Case {
    std::vector<size_t> blocks;  // lines of each, the exception name included, last cause first
    size_t taken, before;        // blocks that are taken, lines before the cut
  };
  const Case cases[] = {{{30}, 1, 30},     {{31}, 1, 28},       {{40}, 1, 28},        {{10, 35}, 2, 2},
                        {{10, 20}, 2, 30}, {{10, 19, 2}, 3, 2}, {{10, 20, 9}, 2, 30}, {{10, 25, 9}, 2, 2},
                        {{29, 5}, 2, 2},   {{30, 5}, 1, 30},    {{31, 5}, 1, 28},     {{10, 80}, 2, 2}};
  for (const Case& c : cases) {
    std::string trace, stack;
    for (size_t i = 0; i < c.blocks.size(); ++i) {
      const bool isHead = i + 1 == c.blocks.size();
      const std::string frames = Lines("block" + std::to_string(i), c.blocks[i] - (isHead ? 0 : 1));
      trace.insert(0, (isHead ? "" : "Caused by: x\n") + frames);
      if (i < c.taken) stack += (isHead ? "" : "UnMatchedException\n") + frames;
    }
    std::vector<std::string> lines;
    StringUtil::SplitStr(stack, "\n", lines, false, false);
    const auto cut = lines.begin() + static_cast<ptrdiff_t>(c.before);
    if (lines.size() > 30) lines.erase(cut, cut + static_cast<ptrdiff_t>(lines.size() - 30));
    EXPECT_EQ(StringUtil::ConvertVectorToStr(lines, "\r\n"), Filter({{"STACK", trace}})["STACK"])
        << testing::PrintToString(c.blocks);
  }
}

TEST(FilterTrace, WithoutStackNothingChanges) {
  for (const Result& result : {Result{}, {{"STACK", ""}}, {{"A", "b"}, {"FINGERPRINT", "c"}}}) {
    EXPECT_EQ(result, Filter(result));
  }
}

TEST(FilterTrace, OverwritesTheFingerprintButNoFrame) {
  Result expected = Filter({{"STACK", "a\nb\nc"}});
  expected["FST_FRAME"] = "mine";
  EXPECT_EQ(expected, Filter({{"STACK", "a\nb\nc"}, {"FST_FRAME", "mine"}, {"FINGERPRINT", "old"}}, "b"));
}

TEST(FilterTrace, LogsTheFingerprintOfCausesOnly) {
  TakeLog();
  EXPECT_EQ((Result{{"STACK", ""}, {"FINGERPRINT", "0"}}), Filter({{"STACK", "Caused by: x\nSuppressed: y"}}));
  EXPECT_EQ(std::vector<std::string>{"6 CalcFingerPrint: calc fingerprint failed, err is 22."}, TakeLog());
}

TEST(GetValidStack, TakesTheTopOfAnUncutTrace) {
  std::stack<std::string> head, part;
  for (const char* line : {"A", "B", "libc.so", "D", "E"}) head.push(line);
  EXPECT_EQ((std::vector<std::string>{"A", "D", "E"}), StackUtil::GetValidStack(4, head, part));
  EXPECT_EQ(std::vector<std::string>{"A"}, StackUtil::GetValidStack(-1, head, part));
}
