#ifndef REGEX_EXPRESSION_H
#define REGEX_EXPRESSION_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "regex/line_automaton.h"
#include "regex/regex.h"

// One regular expression of a rule. Lines that it cannot match are turned away by an automaton, the fastest way; those
// that it probably matches are searched. An invalid expression raises std::regex_error with the first line that it is
// applied to, which ends the process on the device.
class Expression {
 public:
  explicit Expression(std::string_view text);

  // Searches the line; `match` refers into it and is set on success only.
  bool search(std::string_view line, Regex::Match& match);

 private:
  std::unique_ptr<LineAutomaton> filter_;  // null when the expression could not be read
  Regex regex_;
};

// The expressions of one run by their text.
class ExpressionCache {
 public:
  // The reference stays good as long as the cache does.
  Expression& get(std::string_view text);

 private:
  std::map<std::string, Expression, std::less<>> expressions_;
};

#endif  // REGEX_EXPRESSION_H
