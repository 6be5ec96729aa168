#ifndef CLI_CHECK_REGEX_TIME_H
#define CLI_CHECK_REGEX_TIME_H

#include <optional>
#include <regex>
#include <string>

// An input on which an expression takes exponential time: `repeated` so many times between `before` and `after`.
struct SlowInput {
  std::string before;
  std::string repeated;
  int count;
  std::string after;
};

// Such an input for a valid expression; it has been tried out. Empty when none was found. `wholeText`: the expression
// has to match a whole text, not a part of it.
std::optional<SlowInput> FindSlowInput(const std::string& expression, bool wholeText);

// What `expression` matches in `line`: empty when it does not, or gives up because that takes too many steps.
std::optional<std::string> MatchIn(const std::string& line, const std::regex& expression);

#endif  // CLI_CHECK_REGEX_TIME_H
