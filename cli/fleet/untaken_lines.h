#ifndef CLI_FLEET_UNTAKEN_LINES_H
#define CLI_FLEET_UNTAKEN_LINES_H

#include <cstddef>
#include <map>
#include <string>

#include "cli/explain/story.h"

// Lines of one kind in a log.
struct UntakenLines {
  size_t count = 0;
  size_t firstNumber = 0;  // of the first of them, from 1
  std::string firstText;
};

// The lines of the story's log that look like a frame of a stack, or the head of a crash, but that went into no result:
// no rule selected them and no stack holds them. By kind ("Java frames").
std::map<std::string, UntakenLines> UntakenLinesOf(const Story& story);

#endif  // CLI_FLEET_UNTAKEN_LINES_H
