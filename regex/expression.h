#ifndef REGEX_EXPRESSION_H
#define REGEX_EXPRESSION_H

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "regex/line_automaton.h"
#include "regex/regex.h"

// One regular expression of a rule. Once it has turned several lines away, an automaton does so first, which is the
// fastest way; lines that it lets through are searched. An invalid expression raises std::regex_error with the first
// line that it is applied to, which ends the process on the device.
class Expression {
 public:
  explicit Expression(std::string_view text) : regex_(text) {}

  // Searches the line; `match` refers into it and is set on success only.
  bool search(std::string_view line, Regex::Match& match);

  // Bytes held, about.
  size_t memory() const;

 private:
  int misses_ = 0;
  std::unique_ptr<LineAutomaton> filter_;  // null when it is not worth it yet, or the expression cannot be read
  Regex regex_;
};

// Expressions by their text.
class ExpressionCache {
 public:
  // As Expression has it.
  bool search(std::string_view text, std::string_view line, Regex::Match& match);

  // Bytes held, about. Past a limit all expressions are dropped.
  size_t memory() const { return memory_; }
  void clear();

 private:
  std::map<std::string, Expression, std::less<>> expressions_;
  size_t memory_ = 0;
};

#endif  // REGEX_EXPRESSION_H
