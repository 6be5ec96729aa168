#ifndef CLI_RULE_FILES_EXPRESSION_SIGNS_H
#define CLI_RULE_FILES_EXPRESSION_SIGNS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cli/rule_files/rule_texts.h"

// A character of an expression that is neither escaped nor in a class. Of a class only its "[" is one.
struct Sign {
  size_t offset;
  char sign;
  int depth;  // groups around it; "(" and ")" stand outside of theirs
};

// For what the tree of an expression does not say: how it is written.
std::vector<Sign> SignsOf(std::string_view expression);

// What stands between the bars that stand in no group.
std::vector<Piece> AlternativesOf(const std::string& expression);

#endif  // CLI_RULE_FILES_EXPRESSION_SIGNS_H
