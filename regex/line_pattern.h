#ifndef REGEX_LINE_PATTERN_H
#define REGEX_LINE_PATTERN_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "regex/byte_classes.h"

// What can match: keyword expressions and regular expressions in a form that an automaton can be built from. A pattern
// takes every line that its expression takes, and perhaps a few more: it is a necessary condition.

struct LinePattern {
  enum class Kind {
    kByte,       // one byte out of `bytes`
    kSequence,   // all `parts` in a row; without parts it takes the empty text
    kChoice,     // one of `parts`
    kRepeat,     // `parts[0]`, `min` to `max` times
    kLineStart,  // the place before the first byte
    kLineEnd,    // the place behind the last byte
  };
  static constexpr int kUnbounded = -1;

  Kind kind = Kind::kSequence;
  ByteSet bytes = {};
  std::vector<LinePattern> parts = {};
  int min = 0;
  int max = 0;
};

LinePattern LiteralPattern(std::string_view text);

// Takes any text.
LinePattern AnyText();

// Any of the patterns.
LinePattern ChoiceOf(std::vector<LinePattern> parts);

// The text that the pattern stands for when it takes one text only, wherever that stands in a line.
std::optional<std::string> AsLiteral(const LinePattern& pattern);

// How much the pattern singles out, in bits: 7 for each byte of a fixed text, 0 for a pattern that takes every line.
double Selectivity(const LinePattern& pattern);

// The most selective stretch of the pattern between loops over nearly all bytes, which is a necessary condition too.
// Many patterns that remember what stood before such a loop make an automaton explode.
LinePattern MostSelectiveStretch(const LinePattern& pattern);

// Reads a regular expression (ECMAScript). Empty for an expression that is invalid, and for one that the standard
// libraries do not agree about or that is too odd to be worth reading: those are left to std::regex alone. What is read
// is therefore known to compile. Look-ahead and word boundaries count as met, back-references take any text, and a
// class takes all bytes from 128.
std::optional<LinePattern> ReadRegex(std::string_view expression);

#endif  // REGEX_LINE_PATTERN_H
