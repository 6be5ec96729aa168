#ifndef CLI_CHECK_EXPRESSION_VERDICT_H
#define CLI_CHECK_EXPRESSION_VERDICT_H

#include <string>

#include "cli/check/finding_codes.h"
#include "regex/regex_reader.h"

// What the checker says about an expression.
struct ExpressionVerdict {
  RegexReading reading;  // a sound expression is searchable; of others it has the place
  bool compiles = true;  // on this machine
  bool givesUp = false;  // the device's std::regex does so on some line, which ends the process
  Code code = Code::kRegexLeft;
  std::string message = {};

  bool isSound() const { return reading.isSearchable(); }
  bool endsProcess() const { return !isSound() && code != Code::kRegexLeft; }
};

// What the library searches itself is sound. About anything else std::regex of this machine has the last word.
ExpressionVerdict JudgeExpression(const std::string& expression);

#endif  // CLI_CHECK_EXPRESSION_VERDICT_H
