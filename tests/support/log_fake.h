#ifndef TESTS_SUPPORT_LOG_FAKE_H
#define TESTS_SUPPORT_LOG_FAKE_H

#include <string>
#include <vector>

// This test program defines __android_log_print itself and keeps what the library logs.
struct LogLine {
  int priority = 0;
  std::string tag;
  std::string text;      // formatted, without its "[function:line]" heading
  std::string function;  // the function named in the heading
};

// The lines logged since the last call, and forgets them.
std::vector<LogLine> TakeLogLines();

// The same as texts "<priority> <function>: <text>", e.g. "6 analysis: config x isn't real path.".
std::vector<std::string> TakeLog();

#endif  // TESTS_SUPPORT_LOG_FAKE_H
