#include "cli/check/expression_verdict.h"

#include <regex>
#include <string_view>

namespace {

std::string ReasonOf(std::regex_constants::error_type code) {
  namespace rc = std::regex_constants;
  if (code == rc::error_ctype || code == rc::error_collate) return "a class of an unknown name";
  if (code == rc::error_range) return "a range that makes no sense";
  if (code == rc::error_space || code == rc::error_complexity || code == rc::error_stack) return "it is too large";
  return "it does not compile";
}

// What is wrong with an expression, or why it is left to std::regex.
// NOLINTNEXTLINE(readability-function-size): a row for each issue
std::string WordsFor(const RegexReading& reading, std::string_view expression) {
  const std::string piece(expression.substr(reading.offset, reading.length));
  switch (reading.issue) {
    case RegexIssue::kNone:
      return "";
    case RegexIssue::kBackReference:
      return "a back-reference";
    case RegexIssue::kEdgeInLookAhead:
      return "the C++ libraries disagree about \"\\b\" and \"\\B\" at the beginning of a look-ahead";
    case RegexIssue::kGroupInLookAhead:
      return "the C++ libraries disagree about the first group where it stands in a look-ahead; write \"(?:\" there";
    case RegexIssue::kGroupInLoop:
      return "the C++ libraries disagree about the first group where a round of its loop can be empty";
    case RegexIssue::kEmptyLoop:
      return "the C++ libraries disagree about a counted repetition of what may be empty";
    case RegexIssue::kLoopsInLookAhead:
      return "a loop without an end in a look-ahead that stands in another one";
    case RegexIssue::kTooLarge:
      return "more than 100 groups inside each other, or more than 10000 parts with repetitions written out";
    case RegexIssue::kEmptyClass:
      return "the C++ libraries disagree about an empty class";
    case RegexIssue::kOddClass:
      return "the C++ libraries disagree about this class; put a \"-\" first or last and write characters plainly";
    case RegexIssue::kOddByte:
      return "the C++ libraries disagree about this character";
    case RegexIssue::kNothingToRepeat:
      return "there is nothing to repeat in front of \"" + piece + "\"";
    case RegexIssue::kSecondRepeat:
      return "a second repetition directly behind another";
    case RegexIssue::kBadBraces:
      return "braces hold a number, or two with a comma; for a plain brace write \"\\{\"";
    case RegexIssue::kBracesOrder:
      return "the second number in the braces is smaller than the first";
    case RegexIssue::kPlainBracket:
      return "a plain \"" + piece + "\" has to be written \"\\" + piece + "\"";
    case RegexIssue::kUnopenedGroup:
      return "there is no \"(\" for this \")\"";
    case RegexIssue::kUnclosedGroup:
      return "there is no \")\" for this \"(\"";
    case RegexIssue::kBadGroup:
      return "\"(?\" has to be followed by \":\", \"=\" or \"!\"";
    case RegexIssue::kLookBehind:
      return "there is no looking behind; put it in front of the group that counts";
    case RegexIssue::kNamedGroup:
      return "groups cannot have names";
    case RegexIssue::kUnknownGroup:
      return "there is no group " + piece.substr(1) + " before this, or not inside the same look-ahead";
    case RegexIssue::kUnclosedClass:
      return piece == "[" ? "there is no \"]\" for this \"[\"" : "there is no \"" + piece.substr(1) + "]\" for this";
    case RegexIssue::kRangeOfClass:
      return "a range from or to a class of characters; put \"-\" last";
    case RegexIssue::kRangeOrder:
      return "the end of this range comes before its beginning";
    case RegexIssue::kCutEscape:
      return "a backslash at the end";
    case RegexIssue::kBadEscape:
      return "\"" + piece + "\" has no meaning; write \"" + piece.substr(1) + "\"";
    case RegexIssue::kBadHex:
      return "\"" + piece + "\" has to be followed by " + (piece == "\\x" ? "2" : "4") + " hexadecimal digits";
    case RegexIssue::kBadControl:
      return "\"\\c\" has to be followed by a letter";
  }
  return "";
}

}  // namespace

ExpressionVerdict JudgeExpression(const std::string& expression) {
  ExpressionVerdict verdict;
  verdict.reading = ReadRegex(expression);
  if (verdict.isSound()) return verdict;
  const bool isFault = IsFault(verdict.reading.issue);
  std::string reason = WordsFor(verdict.reading, expression);
  try {
    const std::regex compiled(expression);
  } catch (const std::regex_error& error) {
    verdict.compiles = false;
    if (!isFault) reason = ReasonOf(error.code());
  }
  if (!verdict.compiles) {
    verdict.code = Code::kRegexInvalid;
    verdict.message = "invalid expression: " + reason;
  } else if (isFault) {
    verdict.code = Code::kRegexNotPortable;
    verdict.message = "the device refuses this expression: " + reason;
  } else {
    verdict.message = "left to std::regex, which can end the process on the device: " + reason;
  }
  return verdict;
}
