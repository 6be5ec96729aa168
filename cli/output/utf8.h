#ifndef CLI_OUTPUT_UTF8_H
#define CLI_OUTPUT_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

// The bytes of the well-formed UTF-8 character that `text` begins with; 0 when it begins with none.
size_t CharacterLength(std::string_view text);

// The characters of `text`; a byte that is not part of one counts as one.
size_t CharacterCount(std::string_view text);

// Whether all of `text` is well-formed.
bool IsUtf8(std::string_view text);

// The bytes of the control character that `text`, which is UTF-8, begins with, tab and line feed among them, or of a
// mark that turns the direction of text; 0 when it begins with none.
size_t ControlLength(std::string_view text);

// `text` with U+FFFD in place of each byte that is not part of a well-formed UTF-8 character. A log may hold any bytes;
// JSON and terminals want UTF-8.
std::string ValidUtf8(std::string_view text);

#endif  // CLI_OUTPUT_UTF8_H
