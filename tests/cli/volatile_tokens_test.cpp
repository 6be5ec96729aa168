#include "cli/log_lines/volatile_tokens.h"

#include <gtest/gtest.h>

namespace {

TEST(Masked, TakesTheTokensOfOneKind) {
  const struct {
    TokenKind kind;
    const char* line;
    const char* masked;
  } kCases[] = {
      {TokenKind::kTime, "at 2024-04-17 10:12:45.630 and 04-17 10:12:45", "at * and *"},
      {TokenKind::kTime, "[  612.004512] waited 5002ms", "[*] waited *ms"},
      {TokenKind::kTime, "a.B.c(B.java:10)", "a.B.c(B.java:10)"},
      {TokenKind::kBuildId, "lib.so (row+4) (BuildId: 3f0c51d2)", "lib.so (row+4) (BuildId: *)"},
      {TokenKind::kBuildId, "/data/app/~~aG1kZQ==/a.b-Jv8sQd4LrEyWcK0bTn5hXg==/base.apk",
       "/data/app/~~*/a.b-*/base.apk"},
      {TokenKind::kLambdaNumber, "A$$Lambda$14/0x00ab.run", "A$$Lambda$*.run"},
      {TokenKind::kLambdaNumber, "A.lambda$on$Create$0(A.kt:5)", "A.lambda$on$Create$*(A.kt:5)"},
      {TokenKind::kLambdaNumber, "A$1.run(A.kt:5)", "A$1.run(A.kt:5)"},
      {TokenKind::kProcessId, "pid: 12, tid=34 /proc/56/maps", "pid: *, tid=* /proc/*/maps"},
      {TokenKind::kProcessId, "E/AndroidRuntime( 7421): x", "E/AndroidRuntime(*): x"},
      {TokenKind::kLineNumber, "a.B.c(B.java:10)\nb.cpp:3:7", "a.B.c(B.java:*)\nb.cpp:*"},
      {TokenKind::kLineNumber, "Native Method: 5 at 10:20:30", "Native Method: 5 at 10:20:30"},
      {TokenKind::kOffset, "f+0x60/0x1d8", "f+*"},
      {TokenKind::kOffset, "lib.so (f(int)+44) (offset 0x1000)", "lib.so (f(int)+*) (offset *)"},
      {TokenKind::kAddress, "0x7b4de02a60 pc 0000000000026a3c o@1a2b3c4 <00000000deadbeef>", "* pc * o@* <*>"},
      {TokenKind::kAddress, "f+0x60000/0x70000 decoded", "f+0x60000/0x70000 decoded"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(std::string(c.masked) + "\n", Masked(c.line, c.kind)) << c.line;
    std::string inTurn = c.line;
    for (const TokenKind kind : AllTokenKinds()) {
      inTurn = Masked(inTurn, kind);
      inTurn.pop_back();
    }
    EXPECT_EQ(inTurn, MaskedLine(c.line)) << c.line;
  }
}

}  // namespace
