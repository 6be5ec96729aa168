#include "cli/fleet/frame_skips.h"

#include <algorithm>
#include <string_view>

#include "cli/check/expression_verdict.h"
#include "cli/fleet/line_input.h"
#include "cli/output/input_error.h"
#include "cli/output/utf8.h"

namespace {

constexpr std::string_view kBlanks = " \t\r";

// The line without its reason and the blanks around.
std::string_view ExpressionIn(std::string_view line) {
  for (size_t at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    if (at > 0 && kBlanks.find(line[at - 1]) == std::string_view::npos) continue;
    line = line.substr(0, at);
    break;
  }
  const size_t begin = std::min(line.find_first_not_of(kBlanks), line.size());
  const size_t end = line.find_last_not_of(kBlanks);
  return begin == line.size() ? std::string_view() : line.substr(begin, end + 1 - begin);
}

}  // namespace

FrameSkips::FrameSkips(const std::string& path) {
  LineInput lines(path);
  for (std::string_view line; lines.next(line);) {
    const std::string expression(ExpressionIn(line));
    if (expression.empty()) continue;
    const ExpressionVerdict verdict = JudgeExpression(expression);
    if (!verdict.isSound()) {
      const auto begin = static_cast<size_t>(line.find(expression));
      const size_t column = CharacterCount(line.substr(0, begin + verdict.reading.offset)) + 1;
      throw InputError(path + ":" + std::to_string(lines.number()) + ":" + std::to_string(column), verdict.message);
    }
    add(expression);
  }
}

bool FrameSkips::skips(std::string_view frame) {
  Regex::Match match;
  return std::any_of(expressions_.begin(), expressions_.end(),
                     [&](Regex& expression) { return expression.search(frame, match); });
}
