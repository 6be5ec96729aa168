#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ios>
#include <sstream>

#include "util/string_util.h"

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool StringUtil::StrToInt(const std::string& s, int& out) {
  if (s.empty() || (s[0] != '-' && !IsDigit(s[0]))) return false;
  char* end = nullptr;
  errno = 0;
  const long value = strtol(s.c_str(), &end, 10);
  if (end == s.c_str() || end != s.c_str() + s.size() || errno == ERANGE) return false;
  out = static_cast<int>(value);
  return true;
}

int StringUtil::StrToInt(const std::string& s) {
  int value = -1;
  StrToInt(s, value);
  return value;
}

unsigned long StringUtil::StringToUl(const std::string& s, int base) {
  const unsigned long value = strtoul(s.c_str(), nullptr, base);
  return value == ULONG_MAX ? 0 : value;
}

double StringUtil::StringToDouble(const std::string& s) {
  errno = 0;
  const double value = strtod(s.c_str(), nullptr);
  return errno == 0 ? value : 0.0;
}

bool StringUtil::IsValidFloatNum(const std::string& s) {
  if (s.empty() || !IsDigit(s.front()) || !IsDigit(s.back())) return false;
  return std::count(s.begin(), s.end(), '.') <= 1 &&
         std::all_of(s.begin(), s.end(), [](char c) { return IsDigit(c) || c == '.'; });
}

std::string StringUtil::DexToHexString(int value, bool upper) {
  std::ostringstream stream;
  if (upper) stream << std::uppercase;
  stream << std::hex << value;
  return stream.str();
}
