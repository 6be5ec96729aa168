#ifndef CLI_FLEET_SKIP_SUGGESTIONS_H
#define CLI_FLEET_SKIP_SUGGESTIONS_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "cli/fleet/group_table.h"
#include "cli/fleet/grouping.h"

// A frame that seems to say nothing: it heads the stacks of several groups that have little below it in common.
struct SkipSuggestion {
  std::string expression;  // that finds it, whatever its line numbers and the like
  size_t groups = 0;       // that it heads
  size_t logs = 0;
  size_t merged = 0;                             // groups that would be one with others without it...
  size_t into = 0;                               // ...and how many they would be
  std::pair<std::string, std::string> examples;  // logs of two that would, or else of two that it heads
};

// The frame at the head of most logs first; each is counted as if those before it were skipped. `groups` as GroupTable
// sorts them, with their stacks.
std::vector<SkipSuggestion> SuggestSkips(const std::vector<Group>& groups, Grouping& grouping);

#endif  // CLI_FLEET_SKIP_SUGGESTIONS_H
