#include "util/string_util.h"

std::string StringUtil::TrimStr(const std::string& s, char c) {
  const size_t first = s.find_first_not_of(c);
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(c) - first + 1);
}

std::string StringUtil::ReplaceStr(const std::string& s, const std::string& from, const std::string& to) {
  if (from.empty()) return s;
  std::string out;
  size_t begin = 0;
  for (size_t pos = s.find(from); pos != std::string::npos; pos = s.find(from, begin)) {
    out.append(s, begin, pos - begin).append(to);
    begin = pos + from.size();
  }
  return out.append(s, begin);
}

std::string StringUtil::EraseString(const std::string& s, const std::string& sub) {
  if (sub.empty()) return s;
  std::string out;
  size_t next = 0;
  for (size_t pos = s.find(sub); pos != std::string::npos; pos = s.find(sub, next)) {
    out.append(s, next, pos - next);
    next = pos + sub.size();
    // A removal may join the last kept byte with what follows to a new occurrence.
    while (!out.empty() && out.back() == sub.front() && s.compare(next, sub.size() - 1, sub, 1) == 0) {
      out.pop_back();
      next += sub.size() - 1;
    }
  }
  return out.append(s, next);
}
