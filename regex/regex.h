#ifndef REGEX_REGEX_H
#define REGEX_REGEX_H

#include <cstddef>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <string_view>

#include "regex/regex_machine.h"
#include "regex/regex_reader.h"

// A regular expression (ECMAScript) of a rule. Gives the results of std::regex, but runs on RegexMachine (linear time,
// no stack) whenever the expression allows it, because the standard libraries' searches recurse or give up on long or
// unlucky subjects. Where the libraries disagree it follows LLVM's, which the device has. Any other expression is left
// to std::regex. It is compiled when it is first applied, and an invalid one raises std::regex_error then, which ends
// the process on the device. A subject over 2048 bytes is matched only by an expression whose search is linear: with
// another one std::regex could need more stack than there is. Not for several threads at once.
class Regex {
 public:
  struct Match {
    std::string_view whole;
    std::string_view group;  // what the first group took; empty when it took no part or there is none
  };

  explicit Regex(std::string_view text) : Regex(text, ReadRegex(text)) {}

  // `reading`: of the text.
  Regex(std::string_view text, const RegexReading& reading);

  const std::string& text() const { return text_; }

  // Searches for the first match. `match` refers into the subject and is set on success only.
  bool search(std::string_view subject, Match& match);

  // True when the expression takes the whole subject.
  bool matchesWhole(std::string_view subject);

  // True when a search passes over what no match can begin with by jumps: nothing in front of it makes it faster.
  bool jumps() const { return machine_ != nullptr && machine_->jumps(); }

  // The number of capture groups. Compiles the expression first when it is left to std::regex.
  size_t groupCount();

  // Bytes held, about.
  size_t memory() const;

 private:
  bool isTooLong(std::string_view subject) const;
  const std::regex& standard();

  std::string text_;
  size_t groupCount_ = 0;
  std::unique_ptr<RegexMachine> machine_;  // null when the expression is left to std::regex
  std::optional<std::regex> standard_;     // compiled when first needed
};

#endif  // REGEX_REGEX_H
