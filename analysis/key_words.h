#ifndef ANALYSIS_KEY_WORDS_H
#define ANALYSIS_KEY_WORDS_H

#include <string_view>

// The grammar of keyword expressions, the same for the rule's test and for what is derived from it.

inline constexpr std::string_view kRegexMark = "@R@";  // at the beginning: the rest is a regular expression
inline constexpr std::string_view kOrMark = "@|@";
inline constexpr std::string_view kAndMark = "@&@";

enum class KeyWordForm { kText, kRegex, kOr, kAnd };

// An expression that holds both "@|@" and "@&@" is an or-expression.
KeyWordForm FormOf(std::string_view keyWords);

// Takes the next term that is not empty off the front of `rest`, whose terms are separated by `mark`. False when none
// is left.
bool TakeTerm(std::string_view& rest, std::string_view mark, std::string_view& term);

#endif  // ANALYSIS_KEY_WORDS_H
