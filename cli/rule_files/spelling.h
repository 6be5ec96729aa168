#ifndef CLI_RULE_FILES_SPELLING_H
#define CLI_RULE_FILES_SPELLING_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Bytes to insert, remove or replace, or neighbours to swap, to make one word of the other.
size_t EditDistance(std::string_view a, std::string_view b);

// The candidate that `word` is most likely a misspelling of; empty when none is near. Case and blanks count little.
std::string NearestTo(std::string_view word, const std::vector<std::string>& candidates);

// "; did you mean "..."?", or nothing for an empty suggestion.
std::string DidYouMean(std::string_view suggestion);

// The bytes of a character at the beginning of `text` that nobody sees, or takes for a plain blank; 0 for another one.
size_t InvisibleAt(std::string_view text);

// `text` without these.
std::string WithoutInvisible(const std::string& text);

constexpr std::string_view kNoBreakSpace = "\xc2\xa0";

// The words, separated by ", ".
std::string Listed(const std::vector<std::string>& words);

#endif  // CLI_RULE_FILES_SPELLING_H
