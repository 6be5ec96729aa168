#ifndef REGEX_REGEX_READER_H
#define REGEX_REGEX_READER_H

#include <cstddef>
#include <optional>
#include <string_view>

#include "regex/regex_tree.h"

// Why the library does not search an expression itself but leaves it to std::regex.
enum class RegexIssue {
  kNone,

  // Valid, but the standard libraries give different answers, or the search may take time without bound.
  kBackReference,
  kEdgeInLookAhead,   // "\b" or "\B" where a look-ahead begins
  kGroupInLookAhead,  // the first group
  kGroupInLoop,       // the first group in a loop over what may be empty, not set by every round
  kEmptyLoop,         // a counted loop over what may be empty
  kLoopsInLookAhead,  // endless loops in a look-ahead within a look-ahead
  kTooLarge,          // counts, depth, or the expression with its repetitions written out
  kEmptyClass,
  kOddClass,  // hyphens in odd places, collating symbols, names of classes
  kOddByte,   // NUL, or a range that depends on the sign of a char

  // LLVM's library refuses these; GNU's takes some. All from here on are faults.
  kNothingToRepeat,
  kSecondRepeat,
  kBadBraces,
  kBracesOrder,
  kPlainBracket,  // "{", "}" or "]"
  kUnopenedGroup,
  kUnclosedGroup,
  kBadGroup,  // "(?" and something else
  kLookBehind,
  kNamedGroup,
  kUnknownGroup,  // a back-reference to a group that is not closed before it
  kUnclosedClass,
  kRangeOfClass,
  kRangeOrder,
  kCutEscape,
  kBadEscape,  // a letter that means nothing
  kBadHex,
  kBadControl,
};

inline bool IsFault(RegexIssue issue) { return issue >= RegexIssue::kNothingToRepeat; }

struct RegexReading {
  // Set when the expression is known to compile with every standard library.
  std::optional<RegexTree> tree;
  // The first fault, or else the first reason to leave the expression to std::regex, and where it stands.
  RegexIssue issue = RegexIssue::kNone;
  size_t offset = 0;
  size_t length = 0;

  // True when RegexMachine can search for the tree.
  bool isSearchable() const { return issue == RegexIssue::kNone; }
};

// Reads a regular expression (ECMAScript).
RegexReading ReadRegex(std::string_view expression);

#endif  // REGEX_REGEX_READER_H
