#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "regex/regex_reader.h"
#include "tests/support/expression_generator.h"
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

  // A valid expression that the library searches itself, and that std::regex, which it is held against, comes to an end
  // with: there are few loops.
  std::string expression() {
    const std::string text = ExpressionGenerator(*this, oneIn(4)).expression(2);
    return ReadRegex(text).isSearchable() ? text : "(a)b";
  }
};

#endif  // FUZZ_INPUT_H
