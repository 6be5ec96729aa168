#include "util/string_util.h"

namespace {

// The letter of the two-character escape for `c`, or NUL when `c` is written as it is.
char EscapeLetter(char c) {
  switch (c) {
    case '\b':
      return 'b';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\f':
      return 'f';
    case '\r':
      return 'r';
    case '"':
    case '\\':
      return c;
    default:
      return '\0';
  }
}

// The byte that a backslash and `letter` stand for.
char UnescapedByte(char letter) {
  switch (letter) {
    case 'b':
      return '\b';
    case 't':
      return '\t';
    case 'n':
      return '\n';
    case 'f':
      return '\f';
    case 'r':
      return '\r';
    default:
      return letter;
  }
}

}  // namespace

std::string StringUtil::EscapeJsonStringValue(const std::string& s) {
  std::string out;
  for (const char c : s) {
    const char letter = EscapeLetter(c);
    if (letter != '\0') out += '\\';
    out += letter != '\0' ? letter : c;
  }
  return out;
}

std::string StringUtil::UnescapeJsonStringValue(const std::string& s) {
  std::string out;
  bool escaped = true;
  for (const char c : s) {
    if (escaped) {
      out += UnescapedByte(c);
      escaped = false;
    } else if (c == '\\') {
      escaped = true;
    } else {
      out += c;
    }
  }
  return out;
}
