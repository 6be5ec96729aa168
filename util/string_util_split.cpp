#include <sstream>

#include "util/string_util.h"

namespace {

void AppendPiece(std::string piece, bool keepEmpty, bool trimSpaces, std::vector<std::string>& out) {
  if (trimSpaces) piece = StringUtil::TrimStr(piece, ' ');
  if (keepEmpty || !piece.empty()) out.push_back(std::move(piece));
}

}  // namespace

void StringUtil::SplitStr(const std::string& s, const std::string& delim, std::vector<std::string>& out, bool keepEmpty,
                          bool trimSpaces) {
  const std::string text = trimSpaces ? TrimStr(s, ' ') : s;
  out.clear();
  size_t begin = 0;
  if (!delim.empty()) {
    for (size_t pos = text.find(delim); pos != std::string::npos; pos = text.find(delim, begin)) {
      AppendPiece(text.substr(begin, pos - begin), keepEmpty, trimSpaces, out);
      begin = pos + delim.size();
    }
  }
  AppendPiece(text.substr(begin), keepEmpty, trimSpaces, out);
}

std::list<std::string> StringUtil::SplitStr(const std::string& s, char delim) {
  std::list<std::string> pieces;
  std::istringstream stream(s);
  for (std::string piece; std::getline(stream, piece, delim);) pieces.push_back(piece);
  return pieces;
}

KeyValue StringUtil::GetKeyValueByString(size_t& pos, const std::string& s) {
  KeyValue item;
  if (pos >= s.size()) return item;
  const size_t colon = s.find(':', pos);
  if (colon == std::string::npos) {
    item.key = s.substr(pos);
    pos = s.size();
    return item;
  }
  item.key = s.substr(pos, colon - pos);
  for (pos = colon + 1; pos < s.size(); ++pos) {
    const char c = s[pos];
    const bool doubled = (c == ':' || c == ';') && pos + 1 < s.size() && s[pos + 1] == c;
    if (doubled) {
      ++pos;
    } else if (c == ';') {
      ++pos;
      break;
    }
    item.value += c;
  }
  return item;
}

std::string StringUtil::ConvertVectorToStr(const std::vector<std::string>& v, const std::string& sep) {
  std::string out;
  for (const std::string& element : v) {
    if (!out.empty()) out += sep;
    out += element;
  }
  return out;
}

std::string StringUtil::VectorToString(const std::vector<std::string>& v, bool reverse, const std::string& sep) {
  std::string out;
  for (size_t i = 0; i < v.size(); ++i) {
    const std::string& element = reverse ? v[v.size() - 1 - i] : v[i];
    if (!element.empty()) out.append(element).append(sep);
  }
  return out;
}
