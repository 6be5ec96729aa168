#ifndef CLI_RULE_FILES_SPELLING_H
#define CLI_RULE_FILES_SPELLING_H

#include <string>
#include <string_view>
#include <vector>

// The candidate that `word` is most likely a misspelling of; empty when none is near. Case and blanks count little.
std::string NearestTo(std::string_view word, const std::vector<std::string>& candidates);

// "; did you mean "..."?", or nothing for an empty suggestion.
std::string DidYouMean(std::string_view suggestion);

// The words, separated by ", ".
std::string Listed(const std::vector<std::string>& words);

#endif  // CLI_RULE_FILES_SPELLING_H
