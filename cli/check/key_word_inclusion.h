#ifndef CLI_CHECK_KEY_WORD_INCLUSION_H
#define CLI_CHECK_KEY_WORD_INCLUSION_H

#include <optional>
#include <string>
#include <vector>

#include "cli/check/pattern_nfa.h"

// Which lines a keyword expression accepts, compared with others. A variable stands for any text.
class Coverage {
 public:
  explicit Coverage(const std::string& keyWords);

  // True when every line that `other` accepts is accepted by this one. False also where that cannot be told: between
  // two different regular expressions, for one, and for variables in this expression.
  bool covers(const Coverage& other) const;

 private:
  struct Progress;
  class Reader;

  bool accepts(const std::string& line) const;
  bool missesTextOf(const PatternNfa& nfa) const;

  std::string keyWords_;
  bool isRegex_ = false;
  bool isAnd_ = false;              // all terms in order, else any of them
  bool isFixed_ = false;            // without variables
  std::vector<std::string> terms_;  // of an expression that is not a regular one
  std::optional<PatternNfa> nfa_;
  std::optional<std::string> example_;  // a text that the expression accepts, or nearly so
};

#endif  // CLI_CHECK_KEY_WORD_INCLUSION_H
