#include "cli/fleet/untaken_lines.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/log_lines/line_look.h"
#include "cli/log_lines/volatile_tokens.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "util/limits.h"

namespace {

// The offsets of the lines between two frames of the stack: few enough for its pattern to pass over them.
std::vector<size_t> BridgedLines(std::string_view log, const LogUse& use) {
  std::vector<size_t> bridged;
  std::vector<size_t> passed;  // since the last frame
  bool isBegun = false;
  auto frame = use.stack.begin();
  for (size_t begin = use.stackBegin; frame != use.stack.end() && begin < log.size();) {
    const size_t end = std::min(log.find('\n', begin), log.size());
    if (log.substr(begin, end - begin).find(*frame) != std::string_view::npos) {
      if (passed.size() <= static_cast<size_t>(kMaxTraceMisses))
        bridged.insert(bridged.end(), passed.begin(), passed.end());
      passed.clear();
      isBegun = true;
      ++frame;
    } else if (isBegun) {
      passed.push_back(begin);
    }
    begin = end + 1;
  }
  return bridged;
}

LineShape ShapeOf(LineLook look, std::string_view line) {
  std::string text = LineForPeople(line);
  text = MaskedInAll(text);
  while (text.ends_with(' ')) text.pop_back();
  return {std::string(NameOf(look)), text};
}

}  // namespace

std::map<LineShape, UntakenLines> UntakenLinesOf(std::string_view log, const LogUse& use) {
  std::vector<size_t> taken = BridgedLines(log, use);
  taken.insert(taken.end(), use.lines.begin(), use.lines.end());
  std::sort(taken.begin(), taken.end());
  std::map<LineShape, UntakenLines> untaken;
  size_t number = 1;
  size_t counted = 0;  // bytes whose line feeds are in it
  for (const size_t begin : LinesWithLook(log)) {
    const std::string_view line = log.substr(begin, std::min(log.find('\n', begin), log.size()) - begin);
    const LineLook look = LookOf(line);
    if (look == LineLook::kNone || std::binary_search(taken.begin(), taken.end(), begin)) continue;
    if (std::any_of(use.stackLines.begin(), use.stackLines.end(),
                    [line](const std::string& frame) { return line.find(frame) != std::string_view::npos; })) {
      continue;
    }
    number += static_cast<size_t>(std::count(log.begin() + counted, log.begin() + begin, '\n'));
    counted = begin;
    UntakenLines& lines = untaken[ShapeOf(look, line)];
    if (lines.count++ == 0) lines = {1, number, std::string(line)};
  }
  return untaken;
}
