#include "cli/fleet/untaken_lines.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/log_lines/line_look.h"
#include "cli/log_lines/volatile_tokens.h"
#include "cli/output/terminal.h"
#include "util/limits.h"

namespace {

// The offsets of the lines between two frames of the stack: few enough for its pattern to pass over them.
std::vector<size_t> BridgedLines(LineReader& log, const LogUse& use) {
  std::vector<size_t> bridged;
  std::vector<size_t> passed;  // since the last frame
  bool isBegun = false;
  auto frame = use.stack.begin();
  for (size_t begin = use.stackBegin; frame != use.stack.end() && begin < log.size();) {
    const TextLine line = log.lineAt(begin);
    if (line.size() <= kMaxLineLen && log.view(line).find(*frame) != std::string_view::npos) {
      if (passed.size() <= static_cast<size_t>(kMaxTraceMisses)) {
        bridged.insert(bridged.end(), passed.begin(), passed.end());
      }
      passed.clear();
      isBegun = true;
      ++frame;
    } else if (isBegun) {
      passed.push_back(begin);
    }
    begin = line.next;
  }
  return bridged;
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
    taken_.insert(taken_.end(), use.lines.begin(), use.lines.end());
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
  UntakenCollector untaken(use, BridgedLines(log, use));
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
