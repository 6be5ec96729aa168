#ifndef CLI_RULE_FILES_RULE_TEXTS_H
#define CLI_RULE_FILES_RULE_TEXTS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What stands inside the texts of a rule.

// A part of a text with its offset there.
struct Piece {
  size_t offset;
  std::string text;
};

// The parts of `text` between `separator`, without empty ones, as the library splits it.
std::vector<Piece> PiecesOf(const std::string& text, std::string_view separator);

// True when a path on another system stands in `text`: a drive, a colon and a backslash as the text writes one.
bool HoldsDrive(std::string_view text, std::string_view backslash);

// A variable, "@{name}@".
struct Variable {
  size_t begin;
  size_t end;  // behind its closing mark; behind the opening one when that is missing
  std::string name;
  bool isClosed;
};

std::vector<Variable> VariablesOf(std::string_view text);

// `text` with `value` in place of each closed variable.
std::string WithVariablesAs(std::string_view text, std::string_view value);

// The offset in `text` that corresponds to an offset in WithVariablesAs(text, value).
size_t OffsetBeforeFilling(std::string_view text, std::string_view value, size_t offset);

#endif  // CLI_RULE_FILES_RULE_TEXTS_H
