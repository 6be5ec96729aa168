#ifndef CLI_OUTPUT_TERMINAL_H
#define CLI_OUTPUT_TERMINAL_H

#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>

// Whether standard output may carry colours: it is a terminal, and NO_COLOR is not set in the environment.
bool OutputTakesColours();

// `text` in a colour, an SGR code like "1;31", when `inColour`.
std::string Painted(bool inColour, std::string_view colour, std::string_view text);

// `text` as valid UTF-8 with a question mark in place of each control character but tab and line feed: what logs and
// rule files hold must not reach the terminal.
std::string TextForPeople(std::string_view text);

// One line of it, without the carriage return and indentation of the log.
std::string LineForPeople(std::string_view line);

// `text` in double quotes.
std::string Quoted(std::string_view text);

// "1 log", "3 logs".
std::string Counted(size_t count, const std::string& what);

// A result map as a table, values of several lines below their key.
void PrintResult(const std::map<std::string, std::string>& result, std::ostream& out);

#endif  // CLI_OUTPUT_TERMINAL_H
