#include <gtest/gtest.h>

#include "stack/stack_tables.h"
#include "stack/stack_util.h"

TEST(Recognition, EveryLineIsACallStack) {
  for (std::string line : {"", "prose", "#01 pc 0af3  libfoo.so"}) EXPECT_TRUE(StackUtil::IsCallStack(line)) << line;
}

TEST(Recognition, ChainedExceptionsAndTheirNames) {
  for (const char* line : {"Caused by:", "Suppressed:"}) EXPECT_TRUE(StackUtil::HasCausedBy(line)) << line;
  const std::pair<const char*, const char*> cases[] = {
      {"x.ArrayIndexOutOfBoundsException: 3", "ArrayIndexOutOfBoundsException"},
      {"x.StringIndexOutOfBoundsException: 3", "IndexOutOfBoundsException"},
      {"SecurityException, ClassCastException", "ClassCastException"},
      {"java.io.IOException, runtimeException", "UnMatchedException"}};
  for (const auto& [line, name] : cases) EXPECT_EQ(name, StackUtil::MatchExceptionLibrary(line)) << line;
  for (const auto name : kExceptionNames) EXPECT_TRUE(StackUtil::HasExceptionList(std::string(name))) << name;
  EXPECT_TRUE(StackUtil::HasExceptionList("UnMatchedException"));
  for (const char* name : {"java.lang.RuntimeException", "RuntimeExceptio", "RuntimeException ", "IOException", ""}) {
    EXPECT_FALSE(StackUtil::HasExceptionList(name)) << name;
  }
}

TEST(Recognition, IgnoredLibrariesCountAnywhere) {
  for (const char* frame : {"/lib64/libc.so (abort+1)", "mylibc.so.6", "kpanic_x+0x1/0x2", "libart.so", "unknown"}) {
    EXPECT_TRUE(StackUtil::IsIgnoreLibrary(frame)) << frame;
  }
  for (const char* frame : {"", "libc++_shared.so", "Panic", "libc_so", "show_stac"}) {
    EXPECT_FALSE(StackUtil::IsIgnoreLibrary(frame)) << frame;
  }
}

TEST(GetStackTop, KeepsTheFirstAndTheLastLines) {
  const std::string kept[] = {"A", "A", "AE", "ADE", "ACDE", "ABCDE", "ABCDE"};
  for (size_t count = 0; count < std::size(kept); ++count) {
    std::string lines;
    for (auto top = StackUtil::GetStackTop({"A", "B", "C", "D", "E"}, count); !top.empty(); top.pop()) {
      lines.insert(0, top.top());
    }
    EXPECT_EQ(kept[count], lines) << count;
  }
  EXPECT_TRUE(StackUtil::GetStackTop({}, 3).empty());
}

TEST(GetPartial, NeedsAMatchAndAGroup) {
  std::string part = "old";
  EXPECT_FALSE(StackUtil::GetPartial("abc", "(x)", part) || StackUtil::GetPartial("abc", "b", part));
  EXPECT_EQ("old", part);
  EXPECT_TRUE(StackUtil::GetPartial("abc", "(b)(c)", part));
  EXPECT_EQ("b", part);
  EXPECT_TRUE(StackUtil::GetPartial("abc", "(x)|c", part));
  EXPECT_EQ("", part);
}
