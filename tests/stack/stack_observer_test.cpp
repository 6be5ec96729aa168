#include "stack/stack_observer.h"

#include <gtest/gtest.h>

#include "stack/frame_name.h"
#include "stack/stack_util.h"
#include "util/string_util.h"

namespace {

// Writes down what the filter decides: "line:fate:name" with the letter of the fate, the number of its frames and "/"
// behind a block, the lines that are left and the block that names the stack.
struct Notes : StackObserver {
  std::string text;
  size_t lines = 0;

  void onLine(std::string_view /*line*/) override { ++lines; }
  void onFrame(size_t line, const std::string& name, FrameFate fate) override {
    text += std::to_string(line) + ":" + "kinpho"[static_cast<int>(fate)] + ":" + name + " ";
  }
  void onBlock(size_t frames) override { text += std::to_string(frames) + "/ "; }
  void onFiltered(const std::vector<size_t>& left) override {
    for (const size_t line : left) text += std::to_string(line) + ",";
  }
  void onNamingBlock(size_t block) override { text += " by " + std::to_string(block); }
};

}  // namespace

TEST(StackObserver, IsToldTheFateOfEachLine) {
  struct Case {
    const char *what, *trace, *told;  // "|" stands for a line feed
  };
  const Case cases[] = {
      {"empty lines are none", "a||\tb|", "0:k:a 1:k:b 2/ 0,1, by 0"},
      {"the last cause first", "h|Caused by: SecurityException|d",
       "1:h:SecurityException 2:k:d 1/ 0:k:h 1/ 1,2,0, by 0"},
      {"ignored beside others", "libc.so|b", "0:i:libc.so 1:k:b 1/ 1, by 0"},
      {"noise that is cut", "libc.so|panic|a.libc.so|watchdog|unknown",
       "0:i:libc.so 1:i:panic 2:i:a.libc.so 3:i:watchdog 4:i:unknown "
       "0:p:libc.so 1:n:panic 2:n:a.libc.so 3:n:watchdog 4:n:unknown 4/ 1,2,3,4, by 0"},
      {"a cause without frames", "a|Suppressed: x", "1:o:UnMatchedException 0:k:a 1/ 0, by 0"},
      {"nothing left", "Caused by: x", "0:o:UnMatchedException "},
      {"an empty name is left, but makes no line", "at |x", "0:k: 1:k:x 2/ 0,1, by 0"},
  };
  for (const Case& c : cases) {
    const std::string trace = StringUtil::ReplaceStr(c.trace, "|", "\n");
    Notes notes;
    std::vector<std::string> names, observedNames;
    EXPECT_EQ(StackUtil::GetFilterTrace(trace, names, ""), ObserveFilterTrace(trace, observedNames, notes)) << c.what;
    EXPECT_EQ(names, observedNames) << c.what;
    EXPECT_EQ(c.told, notes.text) << c.what;
  }
}

TEST(StackObserver, IsToldWhatTheLimitLeaves) {
  std::string trace;
  for (int i = 0; i < 25; ++i) trace += "a\n";
  trace += "Caused by: x\n";
  for (int i = 0; i < 10; ++i) trace += "b\n";
  Notes notes;
  std::vector<std::string> names;
  ObserveFilterTrace(trace, names, notes);
  EXPECT_EQ(36u, notes.lines);
  // Two lines of the last cause, its heading among them, then the end of the head.
  EXPECT_NE(std::string::npos, notes.text.find("/ 25,26,33,34,35,0,1,2,")) << notes.text;
  EXPECT_TRUE(notes.text.ends_with(",23,24, by 0")) << notes.text;
}

TEST(ShapeOf, IsTheFirstThatALineHas) {
  struct Case {
    const char* line;
    FrameShape shape;
  };
  const Case cases[] = {{"at a.B(C.java:1)", FrameShape::kJava},
                        {" at #1 pc a /x.so (f+1)", FrameShape::kJava},
                        {"#1 pc a /x.so (f+1)", FrameShape::kNative},
                        {"#1 pc a a+0x1/0x2", FrameShape::kNative},
                        {"a+0x1/0x2", FrameShape::kKernel},
                        {" - a+0x1/0x2 (b", FrameShape::kKernel},
                        {" - a (b", FrameShape::kHyphen},
                        {"- a (b", FrameShape::kOther},
                        {"", FrameShape::kOther}};
  for (const Case& c : cases) EXPECT_EQ(c.shape, ShapeOf(c.line)) << c.line;
}
