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
