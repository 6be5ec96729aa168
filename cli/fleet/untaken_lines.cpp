#include "cli/fleet/untaken_lines.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

#include "cli/fleet/line_look.h"
#include "cli/output/lines.h"

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

}  // namespace

std::map<std::string, UntakenLines> UntakenLinesOf(const Story& story) {
  const std::set<size_t> selected = SelectedLines(story);
  const std::set<std::string> stack = StackLines(story);
  std::map<std::string, UntakenLines> untaken;
  if (story.logs.empty()) return untaken;
  ForEachLine(story.logs.front().text, [&](size_t number, std::string_view line) {
    const LineLook look = LookOf(line);
    if (look == LineLook::kNone || selected.count(number) > 0) return;
    if (std::any_of(stack.begin(), stack.end(),
                    [line](const std::string& frame) { return line.find(frame) != std::string_view::npos; })) {
      return;
    }
    UntakenLines& lines = untaken[std::string(NameOf(look))];
    if (lines.count++ == 0) lines = {1, number, std::string(line)};
  });
  return untaken;
}
