#include "cli/fleet/untaken_lines.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/log_lines/line_look.h"
#include "cli/log_lines/volatile_tokens.h"
#include "cli/output/terminal.h"
#include "regex/expression.h"
#include "util/limits.h"
#include "util/trace_cut.h"

namespace {

// Adds the offsets of the lines that the pattern of the stack took, if only to pass over them, and of those between.
void AddLinesOf(const CutStack& stack, LineReader& log, ExpressionCache& expressions, std::vector<size_t>& taken) {
  TraceCut cut(expressions, stack.frameRegex, "");
  std::vector<size_t> passed;  // since the last one that was taken
  bool isBegun = false;
  std::string text;
  for (size_t begin = stack.begin; begin < log.size();) {
    const TextLine line = log.lineAt(begin);
    const bool isTooLong = line.size() > kMaxLineLen;
    if (!isTooLong) log.copy(line, text);
    std::string frame;
    if (!(isTooLong ? cut.skip() : cut.take(text, frame))) return;
    isBegun = isBegun || !frame.empty();
    if (isBegun) passed.push_back(begin);
    if (!frame.empty()) {
      taken.insert(taken.end(), passed.begin(), passed.end());
      passed.clear();
    }
    begin = line.next;
  }
}

LineShape ShapeOf(LineLook look, std::string_view line) {
  std::string text = MaskedLine(LineForPeople(line));
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return {std::string(NameOf(look)), text};
}

// Gathers them window by window.
class UntakenCollector {
 public:
  UntakenCollector(const LogUse& use, std::vector<size_t> taken) : use_(use), taken_(std::move(taken)) {
    std::sort(taken_.begin(), taken_.end());
  }

  // The next whole lines of the log.
  void add(std::string_view lines) {
    size_t counted = 0;  // bytes whose line feeds are in the number
    for (const size_t start : LinesWithLook(lines)) {
      const std::string_view line = lines.substr(start, std::min(lines.find('\n', start), lines.size()) - start);
      const LineLook look = LookOf(line);
      if (look == LineLook::kNone || isTaken(line, offset_ + start)) continue;
      countLines(lines.substr(counted, start - counted));
      counted = start;
      UntakenLines& untaken = untaken_[ShapeOf(look, line)];
      if (untaken.count++ == 0) untaken = {1, number_, std::string(line)};
    }
    countLines(lines.substr(counted));
    offset_ += lines.size();
  }

  // The next line is too long to be looked at.
  void pass(const TextLine& line) {
    ++number_;
    offset_ = line.next;
  }

  std::map<LineShape, UntakenLines> take() { return std::move(untaken_); }

 private:
  bool isTaken(std::string_view line, size_t offset) const {
    const auto isPartOf = [line](const std::string& frame) { return line.find(frame) != std::string_view::npos; };
    return std::binary_search(taken_.begin(), taken_.end(), offset) ||
           std::any_of(use_.stackLines.begin(), use_.stackLines.end(), isPartOf);
  }

  void countLines(std::string_view text) { number_ += static_cast<size_t>(std::count(text.begin(), text.end(), '\n')); }

  const LogUse& use_;
  std::vector<size_t> taken_;  // offsets of lines
  size_t offset_ = 0;
  size_t number_ = 1;  // of the line there
  std::map<LineShape, UntakenLines> untaken_;
};

}  // namespace

std::map<LineShape, UntakenLines> UntakenLinesOf(LineReader& log, const LogUse& use) {
  static ExpressionCache expressions;  // of all logs
  std::vector<size_t> taken = use.lines;
  for (const CutStack& stack : use.stacks) AddLinesOf(stack, log, expressions, taken);
  UntakenCollector untaken(use, std::move(taken));
  for (size_t pos = 0; pos < log.size();) {
    const std::string_view lines = log.linesFrom(pos);
    pos += lines.size();
    if (!lines.empty()) {
      untaken.add(lines);
    } else if (pos < log.size()) {
      const TextLine line = log.lineAt(pos);
      untaken.pass(line);
      pos = line.next;
    }
  }
  return untaken.take();
}
