#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "regex/regex_machine.h"
#include "tests/support/log_fake.h"

// What a fuzzer promises about the library. A false one is a fault that libFuzzer reports with its input.
#define FUZZ_CHECK(condition)                                                   \
  do {                                                                          \
    if (!(condition)) {                                                         \
      fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
      abort();                                                                  \
    }                                                                           \
  } while (false)

// Calls `work` again here and on another thread, and checks that the answers are the same as the first.
template <typename Work>
auto SameAnswerAlways(Work work) {
  const auto answer = work();
  FUZZ_CHECK(work() == answer);
  bool same = false;
  std::thread([&] { same = work() == answer; }).join();
  FUZZ_CHECK(same);
  TakeLogLines();
  return answer;
}

// Turns the bytes of an input into the parts of a case.
class FuzzInput : public FuzzedDataProvider {
 public:
  using FuzzedDataProvider::FuzzedDataProvider;

  size_t below(size_t n) { return ConsumeIntegralInRange<size_t>(0, n - 1); }
  bool oneIn(size_t n) { return below(n) == 0; }
  std::string pick(const std::vector<std::string>& pieces) { return pieces[below(pieces.size())]; }

  // A valid expression that the library searches itself. std::regex, which it is held against, must come to an end too:
  // there are few loops, without choices and without loops in them.
  std::string expression() {
    loops_ = 2;
    const std::string text = expressionAt(0);
    const auto tree = ReadRegexTree(text);
    return tree && RegexMachine::canSearch(*tree) ? text : "(a)b";
  }

 private:
  std::string expressionAt(int depth) {
    std::string text;
    for (size_t i = below(4) + 1; i > 0; --i) {
      const int loopsBefore = loops_;
      std::string atom;
      if (depth < 3 && oneIn(4)) {
        atom = pick({"(", "(?:", "(?=", "(?!"});
        atom += expressionAt(depth + 1) + ")";
      } else {
        atom = pick({"a",   "b",   "1",   "pid",    " ",       ".",    ".",    "\\d",      "\\w",   "\\s",
                     "\\S", "\\D", "\\W", "\\.",    "=",       "[ab]", "[^a]", "[a-c1]",   "^",     "$",
                     "\\b", "\\B", "at ", "[\\w.]", "[^\\d(]", "\\(",  "#",    "\xc3\xa4", "\\x61", "\\t"});
      }
      text += atom;
      const bool isCondition = atom.starts_with("(?=") || atom.starts_with("(?!") || atom == "^" || atom == "$" ||
                               atom == "\\b" || atom == "\\B";
      if (!isCondition && loops_ > 0 && loops_ == loopsBefore && atom.find('|') == std::string::npos && oneIn(2)) {
        text += pick({"*", "+", "?", "*?", "+?", "??", "{2}", "{1,3}", "{2,}", "{0,2}?"});
        --loops_;
      }
      if (oneIn(9)) text += "|";
    }
    return text;
  }

  int loops_ = 0;
};

#endif  // FUZZ_INPUT_H
