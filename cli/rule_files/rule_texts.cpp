#include "cli/rule_files/rule_texts.h"

#include <algorithm>
#include <cctype>

#include "rules/rule_syntax.h"
#include "util/string_util.h"

std::vector<Piece> PiecesOf(const std::string& text, std::string_view separator) {
  std::vector<std::string> texts;
  StringUtil::SplitStr(text, std::string(separator), texts, false, false);
  std::vector<Piece> pieces;
  size_t offset = 0;
  for (std::string& piece : texts) {
    while (text.compare(offset, separator.size(), separator) == 0) offset += separator.size();
    const size_t begin = offset;
    offset += piece.size();
    pieces.push_back({begin, std::move(piece)});
  }
  return pieces;
}

bool HoldsDrive(std::string_view text, std::string_view backslash) {
  const auto isLetter = [text](size_t place) { return std::isalpha(static_cast<unsigned char>(text[place])) != 0; };
  const size_t colon = text.find(":" + std::string(backslash));
  return colon != std::string_view::npos && colon > 0 && isLetter(colon - 1) && (colon == 1 || !isLetter(colon - 2));
}

std::vector<Variable> VariablesOf(std::string_view text) {
  std::vector<Variable> variables;
  for (size_t open = text.find(kOpenMark); open != std::string_view::npos;) {
    const size_t nameBegin = open + std::string_view(kOpenMark).size();
    const size_t close = text.find(kCloseMark, nameBegin);
    const bool isClosed = close != std::string_view::npos && close < text.find(kOpenMark, nameBegin);
    const size_t end = isClosed ? close + std::string_view(kCloseMark).size() : nameBegin;
    variables.push_back({open, end, std::string(isClosed ? text.substr(nameBegin, close - nameBegin) : ""), isClosed});
    open = text.find(kOpenMark, end);
  }
  return variables;
}

std::string WithVariablesAs(std::string_view text, std::string_view value) {
  std::string filled;
  size_t done = 0;
  for (const Variable& variable : VariablesOf(text)) {
    if (!variable.isClosed) continue;
    filled.append(text.substr(done, variable.begin - done)).append(value);
    done = variable.end;
  }
  return filled.append(text.substr(done));
}

size_t OffsetBeforeFilling(std::string_view text, std::string_view value, size_t offset) {
  size_t shift = 0;  // how much longer the text is up to here
  for (const Variable& variable : VariablesOf(text)) {
    if (!variable.isClosed) continue;
    const size_t place = variable.begin - shift;
    if (offset < place) break;
    if (offset < place + value.size()) return variable.begin;
    shift += variable.end - variable.begin - value.size();
  }
  return offset + shift;
}
