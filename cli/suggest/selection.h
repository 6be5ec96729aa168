#ifndef CLI_SUGGEST_SELECTION_H
#define CLI_SUGGEST_SELECTION_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cli/suggest/rule_draft.h"

// The lines of a log that someone points at, and the rules that could take them.

// The lines of a log, without their ends. They refer to the text.
std::vector<std::string_view> LogLines(std::string_view text);

// From 1, both ends included.
struct LineRange {
  size_t first = 0;
  size_t last = 0;
};

// What the lines are to a rule. Numbers are those of the log, from 1.
struct Selection {
  std::vector<size_t> heads;   // lines for rules of their own, in order
  std::vector<size_t> frames;  // of a stack, and the causes between them
  std::vector<size_t> others;  // between or behind the frames; a rule need not take them
  size_t head = 0;             // on which the others depend
  size_t noted = 0;            // where the stack's search begins; 0 without a stack
};

Selection SelectionOf(const std::vector<std::string_view>& lines, LineRange range);

// A head of a crash or hang with the stack that belongs to it: each such place in the log, the earliest first.
std::vector<LineRange> TroublesIn(const std::vector<std::string_view>& lines);

// Rules for the lines, from those that ask for least to the strictest. Not checked, and not tried.
std::vector<Draft> DraftsFor(const std::vector<std::string_view>& lines, const Selection& selection,
                             const std::string& eventType);

#endif  // CLI_SUGGEST_SELECTION_H
