#ifndef ANALYSIS_PARAM_MARKS_H
#define ANALYSIS_PARAM_MARKS_H

#include <string_view>

// The marks that the pattern text of a parameter may carry.

inline constexpr std::string_view kLastMark = "@L@";   // what stands before it is dropped; the latest value is kept
inline constexpr std::string_view kStackMark = "@T@";  // the pattern is for the frames of a stack, not for the line

// The pattern text without its "@L@" and what stands before that.
constexpr std::string_view AppliedPattern(std::string_view text) {
  const size_t mark = text.find(kLastMark);
  return mark == std::string_view::npos ? text : text.substr(mark + kLastMark.size());
}

// True when the parameter is recorded whatever the line holds.
constexpr bool IsStackPattern(std::string_view text) {
  return AppliedPattern(text).find(kStackMark) != std::string_view::npos;
}

#endif  // ANALYSIS_PARAM_MARKS_H
