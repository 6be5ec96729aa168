#ifndef TESTS_CLI_MISTAKES_H
#define TESTS_CLI_MISTAKES_H

#include <string>
#include <vector>

// Rules with a mistake, or sound ones, and what the checker finds in them.
struct Mistake {
  std::string what;
  std::string matchRules;
  std::string assembleRules;
  std::vector<std::string> expected;
};

// The cases of tests/data-check/mistakes.txt, which says how to read them.
std::vector<Mistake> Mistakes();

#endif  // TESTS_CLI_MISTAKES_H
