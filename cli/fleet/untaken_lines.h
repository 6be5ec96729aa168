#ifndef CLI_FLEET_UNTAKEN_LINES_H
#define CLI_FLEET_UNTAKEN_LINES_H

#include <cstddef>
#include <map>
#include <string>
#include <tuple>

#include "cli/fleet/use_reporter.h"
#include "util/line_reader.h"

// What lines have in common: the kind ("Java frames"), and the line without blanks around it and with "*" for what
// differs from one occurrence to another.
struct LineShape {
  std::string kind;
  std::string text;

  bool operator<(const LineShape& other) const { return std::tie(kind, text) < std::tie(other.kind, other.text); }
};

// Lines of one shape in a log.
struct UntakenLines {
  size_t count = 0;
  size_t firstNumber = 0;  // of the first of them, from 1
  std::string firstText;
};

// The lines of a log that look like a frame of a stack, or the head of a crash, but that went into no result: no rule
// selected them, no stack holds them, and none was cut with them inside, where a pattern passed over them.
std::map<LineShape, UntakenLines> UntakenLinesOf(LineReader& log, const LogUse& use);

#endif  // CLI_FLEET_UNTAKEN_LINES_H
