#ifndef TESTS_SUPPORT_STANDARD_SEARCH_H
#define TESTS_SUPPORT_STANDARD_SEARCH_H

#include <optional>
#include <regex>
#include <string>

#include "regex/regex.h"

// GNU's library keeps what a group captured in an earlier round, takes "\\cA" for "A", and the place of a look-ahead
// for the beginning of the line. There the library follows LLVM's (see scripts/compare-expressions).
inline bool DiffersFromGnu(const std::string& expression) {
  const bool hasLookAhead = expression.find("(?=") != std::string::npos || expression.find("(?!") != std::string::npos;
  return (hasLookAhead && expression.find('^') != std::string::npos) || expression.find("\\c") != std::string::npos;
}

// What std::regex finds in a line.
struct StandardMatch {
  std::string whole;
  std::string group;  // the first one
  size_t position;
};

inline std::optional<StandardMatch> StandardSearch(const std::string& line, const std::string& text,
                                                   const std::regex& expression) {
  std::smatch match;
  if (std::regex_search(line, match, expression)) {
    return StandardMatch{match.str(0), match.str(1), static_cast<size_t>(match.position(0))};
  }
#ifdef _LIBCPP_VERSION
  // LLVM's library, version 14 for one, does not look for an empty match behind the last byte of a line. There ours is
  // believed; GNU's library confirms it.
  Regex::Match ours;
  if (Regex(text).search(line, ours) && ours.whole.data() == line.data() + line.size()) {
    return StandardMatch{"", "", line.size()};
  }
#else
  static_cast<void>(text);
#endif
  return std::nullopt;
}

#endif  // TESTS_SUPPORT_STANDARD_SEARCH_H
