#ifndef CLI_CHECK_PATTERN_NFA_H
#define CLI_CHECK_PATTERN_NFA_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "regex/regex_tree.h"

// The ways through a pattern, byte by byte: a state for the begin, one for the end and one for each byte that is taken.
// Two edges between the same states are two ways to take the same text, which a backtracking search tries in turn.
struct PatternNfa {
  struct Edge {
    uint32_t to;
    bool atLineStart;  // possible only there
    bool atLineEnd;

    bool operator==(const Edge&) const = default;
  };
  static constexpr uint32_t kBegin = 0;
  static constexpr uint32_t kEnd = 1;

  std::vector<ByteSet> bytes;            // by state, those that lead into it
  std::vector<std::vector<Edge>> edges;  // by state, in the order in which a search tries them

  // Empty for a pattern that is too large. Repetitions of five times and more count as unbounded, so the pattern may
  // take more than it should.
  static std::optional<PatternNfa> of(const RegexNode& pattern);

  // A shortest text on the way from one state to another; empty when there is none.
  std::optional<std::string> shortestText(uint32_t from, uint32_t to) const;
};

// The byte of a set that reads best; empty for a set without printable characters.
std::optional<char> ReadableByte(const ByteSet& bytes);

#endif  // CLI_CHECK_PATTERN_NFA_H
