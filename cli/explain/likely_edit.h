#ifndef CLI_EXPLAIN_LIKELY_EDIT_H
#define CLI_EXPLAIN_LIKELY_EDIT_H

#include <string>
#include <string_view>

// What an author most likely meant by a text that a log does not hold: the same text but for its case or its blanks.

// Keywords that select no line of `log`, their variables filled: what to write instead, in words that name a line.
// Empty when the log holds nothing like it.
std::string LikelyKeyWordEdit(const std::string& keyWords, std::string_view log);

// An expression that finds nothing in `line`, the line of that number.
std::string LikelyExpressionEdit(const std::string& expression, std::string_view line, size_t number);

#endif  // CLI_EXPLAIN_LIKELY_EDIT_H
