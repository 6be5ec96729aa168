#include "cli/rule_files/expression_signs.h"

std::vector<Sign> SignsOf(std::string_view expression) {
  std::vector<Sign> signs;
  int depth = 0;
  bool inClass = false;
  for (size_t i = 0; i < expression.size(); ++i) {
    const char c = expression[i];
    if (c == '\\') {
      ++i;
    } else if (inClass) {
      inClass = c != ']';
    } else {
      inClass = c == '[';
      depth -= c == ')' ? 1 : 0;
      signs.push_back({i, c, depth});
      depth += c == '(' ? 1 : 0;
    }
  }
  return signs;
}

std::vector<Piece> AlternativesOf(const std::string& expression) {
  std::vector<Piece> alternatives;
  size_t begin = 0;
  for (const Sign& sign : SignsOf(expression)) {
    if (sign.sign != '|' || sign.depth > 0) continue;
    alternatives.push_back({begin, expression.substr(begin, sign.offset - begin)});
    begin = sign.offset + 1;
  }
  alternatives.push_back({begin, expression.substr(begin)});
  return alternatives;
}
