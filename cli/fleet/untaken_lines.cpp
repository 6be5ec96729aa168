#include "cli/fleet/untaken_lines.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

#include "cli/log_lines/line_look.h"
#include "cli/log_lines/volatile_tokens.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "util/limits.h"

namespace {

std::set<size_t> SelectedLines(const Story& story) {
  std::set<size_t> numbers;
  for (const RunStory& run : story.runs) {
    for (const RuleStory& rule : run.rules) {
      for (const SelectedLine& selected : rule.selected.kept) {
        numbers.insert(selected.line.number);
        for (const ParamStory& param : selected.params.kept) numbers.insert(param.line.number);
      }
    }
  }
  return numbers;
}

// The lines of all stacks that were cut out of the log, as far as the patterns took them.
std::set<std::string> StackLines(const Story& story) {
  std::set<std::string> lines;
  for (const RunStory& run : story.runs) {
    for (const TemplateStory& told : run.templates) {
      for (const ContributionStory& part : told.contributions) {
        if (part.value.find('\n') == std::string::npos) continue;
        for (const std::string& line : LinesOf(part.value)) lines.insert(line);
      }
    }
  }
  lines.erase("");
  return lines;
}

// Lines between two frames of the stack: few enough for its pattern to pass over them.
std::set<size_t> BridgedLines(const Story& story) {
  std::set<size_t> numbers;
  size_t last = 0;
  for (const FrameStory& frame : story.stack ? story.stack->frames : std::vector<FrameStory>()) {
    const size_t number = frame.line.number;
    const bool isNear = last > 0 && number > last && number - last <= kMaxTraceMisses + 1;
    for (size_t i = last + 1; isNear && i < number; ++i) numbers.insert(i);
    last = number;
  }
  return numbers;
}

LineShape ShapeOf(LineLook look, std::string_view line) {
  std::string text = LineForPeople(line);
  text = MaskedInAll(text);
  while (text.ends_with(' ')) text.pop_back();
  return {std::string(NameOf(look)), text};
}

}  // namespace

std::map<LineShape, UntakenLines> UntakenLinesOf(const Story& story) {
  const std::set<size_t> selected = SelectedLines(story);
  const std::set<std::string> stack = StackLines(story);
  const std::set<size_t> bridged = BridgedLines(story);
  std::map<LineShape, UntakenLines> untaken;
  if (story.logs.empty()) return untaken;
  ForEachLine(story.logs.front().text, [&](size_t number, std::string_view line) {
    const LineLook look = LookOf(line);
    if (look == LineLook::kNone || selected.count(number) > 0 || bridged.count(number) > 0) return;
    if (std::any_of(stack.begin(), stack.end(),
                    [line](const std::string& frame) { return line.find(frame) != std::string_view::npos; })) {
      return;
    }
    UntakenLines& lines = untaken[ShapeOf(look, line)];
    if (lines.count++ == 0) lines = {1, number, std::string(line)};
  });
  return untaken;
}
