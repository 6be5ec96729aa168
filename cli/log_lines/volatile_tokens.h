#ifndef CLI_LOG_LINES_VOLATILE_TOKENS_H
#define CLI_LOG_LINES_VOLATILE_TOKENS_H

#include <string>
#include <string_view>
#include <vector>

// Parts of a stack's lines that may differ between two occurrences, or two builds, of one failure.
enum class TokenKind { kTime, kBuildId, kLambdaNumber, kProcessId, kLineNumber, kOffset, kAddress };

// All kinds, in the order in which they are masked one after the other.
const std::vector<TokenKind>& AllTokenKinds();

// In the plural: "line numbers".
std::string_view NameOf(TokenKind kind);

// `text` with "*" in place of each token of the kind. Line by line, lines end in a line feed.
std::string Masked(std::string_view text, TokenKind kind);

// One line with "*" in place of each token of all kinds, one kind after the other.
std::string MaskedLine(std::string line);

#endif  // CLI_LOG_LINES_VOLATILE_TOKENS_H
