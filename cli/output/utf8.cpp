#include "cli/output/utf8.h"

#include <algorithm>

size_t CharacterLength(std::string_view text) {
  const auto byte = [text](size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xc2 || lead > 0xf4) return 0;
  // The range of the second byte leaves out overlong forms, surrogates and all past U+10FFFF.
  const unsigned low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const unsigned high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (byte(1) < low || byte(1) > high) return 0;
  const size_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  for (size_t i = 2; i < length; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xbf) return 0;
  }
  return length;
}

size_t CharacterCount(std::string_view text) {
  size_t count = 0;
  for (; !text.empty(); ++count) text.remove_prefix(std::max<size_t>(CharacterLength(text), 1));
  return count;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const size_t length = CharacterLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const size_t length = CharacterLength(text);
    valid += length == 0 ? "\uFFFD" : text.substr(0, length);
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return valid;
}

size_t ControlLength(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = [text](size_t at) { return at < text.size() ? static_cast<unsigned char>(text[at]) : 0; };
  if (byte(0) < ' ' || byte(0) == 0x7f) return 1;
  if (byte(0) == 0xc2) return byte(1) < 0xa0 ? 2 : 0;  // U+0080 to U+009F
  if (byte(0) != 0xe2 || (byte(1) & 0xfe) != 0x80) return 0;
  const bool turns = byte(1) == 0x80 ? byte(2) >= 0xaa && byte(2) <= 0xae : byte(2) >= 0xa6 && byte(2) <= 0xa9;
  return turns ? 3 : 0;  // U+202A to U+202E, U+2066 to U+2069
}
