#ifndef REGEX_EXPRESSION_H
#define REGEX_EXPRESSION_H

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "regex/line_automaton.h"
#include "regex/regex.h"
#include "regex/regex_reader.h"

// One regular expression of a rule. Once it has turned several lines away, an automaton does so first, which is the
// fastest way unless matches begin with a text; lines that it lets through are searched. An invalid expression raises
// std::regex_error with the first line that it is applied to, which ends the process on the device.
class Expression {
 public:
  explicit Expression(std::string_view text) : text_(text), reading_(ReadRegex(text)) {}

  // The longest text that every match holds; it may be empty. Nothing when the expression cannot be read.
  std::optional<std::string> longestText() const;

  // Searches the line; `match` refers into it and is set on success only.
  bool search(std::string_view line, Regex::Match& match);

  // Bytes held, about.
  size_t memory() const;

 private:
  const std::string text_;
  std::optional<RegexReading> reading_;  // until the first search
  std::optional<Regex> regex_;           // from then on
  int misses_ = 0;
  std::unique_ptr<LineAutomaton> filter_;  // null when it is not worth it, or the expression cannot be read
};

// Expressions by their text.
class ExpressionCache {
 public:
  // As Expression has them.
  std::optional<std::string> longestText(std::string_view text);
  bool search(std::string_view text, std::string_view line, Regex::Match& match);

  // Bytes held, about. Past a limit all expressions are dropped.
  size_t memory() const { return memory_; }
  void clear();

 private:
  Expression& at(std::string_view text);

  std::map<std::string, Expression, std::less<>> expressions_;
  size_t memory_ = 0;
};

#endif  // REGEX_EXPRESSION_H
