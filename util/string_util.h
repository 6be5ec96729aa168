#ifndef UTIL_STRING_UTIL_H
#define UTIL_STRING_UTIL_H

#include <cstddef>
#include <list>
#include <string>
#include <vector>

#include "util/export.h"

// One "key:value;" item of a packed list. `flag` is false in every item that GetKeyValueByString returns.
struct KeyValue {
  std::string key;
  std::string value;
  bool flag = false;
};

// Byte-string helpers: cutting, editing, splitting, joining, numbers, JSON string values. Strings have no encoding
// here, every comparison is byte by byte. The functions keep no state and may be called from any thread.
class KESTRIX_EXPORT StringUtil {
 public:
  // --- Cutting at a separator ---

  // Text before the first `sep`; all of `s` when there is none. Empty for an empty `sep`.
  static std::string GetLeftSubstr(const std::string& s, const std::string& sep);

  // Text after the first `sep`; the text "none" when there is none. All of `s` for an empty `sep`.
  static std::string GetRightSubstr(const std::string& s, const std::string& sep);

  // Text before the last `sep`; all of `s` when there is none, and for an empty `sep`.
  static std::string GetRleftSubstr(const std::string& s, const std::string& sep);

  // Text from one byte behind the start of the last `sep`; the text "none" when there is none. Of a longer separator
  // the rest therefore stays: "a::b" cut at "::" gives ":b". An empty `sep` raises std::out_of_range.
  static std::string GetRrightSubstr(const std::string& s, const std::string& sep);

  // Text between the first `start` and the first `end` behind it. Empty when either is missing, or when `end` is empty.
  // An empty `start` stands for the beginning of `s`.
  static std::string GetMidSubstr(const std::string& s, const std::string& start, const std::string& end);

  // Text from `offset` bytes behind the first byte that is one of `firstChars`. When one of `endChars` follows at index
  // j of `s`, at most j bytes are taken (j counts from the beginning of `s`); otherwise the rest of `s`. Empty when
  // nothing of `firstChars` occurs or the start lies outside `s`.
  static std::string FindMatchSubString(const std::string& s, const std::string& firstChars, int offset,
                                        const std::string& endChars);

  // --- Editing ---

  // `s` without its leading and trailing run of the byte `c`.
  static std::string TrimStr(const std::string& s, char c);

  // `s` with every `from` replaced by `to`, left to right; inserted text is not searched again. An empty `from` changes
  // nothing.
  static std::string ReplaceStr(const std::string& s, const std::string& from, const std::string& to);

  // `s` without any `sub`. An occurrence that a removal forms is removed too when it begins at most one byte before the
  // gap: "aabb" without "ab" is empty, "ababcc" without "abc" is "abc". An empty `sub` changes nothing.
  static std::string EraseString(const std::string& s, const std::string& sub);

  // --- Splitting and joining ---

  // Replaces the content of `out` with the pieces of `s` between the delimiters. Empty pieces are kept only with
  // `keepEmpty`. With `trimSpaces` blanks (byte 32 only) are trimmed from `s` and from each piece. An empty `delim`
  // splits nothing.
  static void SplitStr(const std::string& s, const std::string& delim, std::vector<std::string>& out, bool keepEmpty,
                       bool trimSpaces);

  // The pieces of `s` between the delimiters, empty ones included; a delimiter at the end adds no piece, and an empty
  // `s` has none.
  static std::list<std::string> SplitStr(const std::string& s, char delim);

  // Reads one "key:value;" item at `pos` and moves `pos` behind it. In the value "::" stands for ":" and ";;" for ";".
  // Key and value are empty, and `pos` stays, when `pos` is at or past the end.
  static KeyValue GetKeyValueByString(size_t& pos, const std::string& s);

  // The elements joined with `sep` between them; nothing stands before the first element that is not empty.
  static std::string ConvertVectorToStr(const std::vector<std::string>& v, const std::string& sep);

  // The elements that are not empty, each followed by `sep`; last element first with `reverse`.
  static std::string VectorToString(const std::vector<std::string>& v, bool reverse, const std::string& sep);

  // --- Numbers ---

  // True when all of `s` is a decimal number that fits a long; it begins with a digit or "-". `out` gets its low 32
  // bits and stays untouched on failure.
  static bool StrToInt(const std::string& s, int& out);

  // The same number, or -1 on failure.
  static int StrToInt(const std::string& s);

  // The number at the beginning of `s` in `base`, read as strtoul does; 0 when there is none, on overflow and for "-1".
  static unsigned long StringToUl(const std::string& s, int base);

  // The number at the beginning of `s`, read as strtod does; 0.0 when there is none or it is out of range.
  static double StringToDouble(const std::string& s);

  // True for digits with at most one "." between them: "15", "1.5". No sign, no exponent, no blanks.
  static bool IsValidFloatNum(const std::string& s);

  // `value` in hexadecimal without prefix or leading zeros; a negative value as its 32-bit two's complement.
  static std::string DexToHexString(int value, bool upper);

  // --- JSON string values ---

  // `s` with the two-character escapes for backspace, tab, line feed, form feed, carriage return, double quote and
  // backslash. All other bytes are copied.
  static std::string EscapeJsonStringValue(const std::string& s);

  // `s` with two-character escapes resolved; an unknown escape gives its second character. The first byte is read as if
  // a backslash stood before it, so "nab" begins with a line feed. A single backslash at the end is dropped.
  static std::string UnescapeJsonStringValue(const std::string& s);
};

#endif  // UTIL_STRING_UTIL_H
