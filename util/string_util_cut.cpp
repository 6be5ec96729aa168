#include <algorithm>
#include <cstddef>

#include "util/string_util.h"

namespace {

constexpr char kNotFound[] = "none";

}  // namespace

std::string StringUtil::GetLeftSubstr(const std::string& s, const std::string& sep) { return s.substr(0, s.find(sep)); }

std::string StringUtil::GetRightSubstr(const std::string& s, const std::string& sep) {
  const size_t pos = s.find(sep);
  return pos == std::string::npos ? kNotFound : s.substr(pos + sep.size());
}

std::string StringUtil::GetRleftSubstr(const std::string& s, const std::string& sep) {
  return s.substr(0, s.rfind(sep));
}

std::string StringUtil::GetRrightSubstr(const std::string& s, const std::string& sep) {
  const size_t pos = s.rfind(sep);
  return pos == std::string::npos ? kNotFound : s.substr(pos + 1);
}

std::string StringUtil::GetMidSubstr(const std::string& s, const std::string& start, const std::string& end) {
  const size_t found = s.find(start);
  if (found == std::string::npos || end.empty()) return "";
  const size_t from = found + start.size();
  const size_t to = s.find(end, from);
  return to == std::string::npos ? "" : s.substr(from, to - from);
}

std::string StringUtil::FindMatchSubString(const std::string& s, const std::string& firstChars, int offset,
                                           const std::string& endChars) {
  const size_t first = s.find_first_of(firstChars);
  if (first == std::string::npos) return "";
  const auto place = static_cast<ptrdiff_t>(first) + offset;
  if (place < 0 || place > static_cast<ptrdiff_t>(s.size())) return "";
  const auto start = static_cast<size_t>(place);
  const size_t end = s.find_first_of(endChars, start);
  return end == std::string::npos ? s.substr(start) : s.substr(start, std::min(s.size() - start, end));
}
