#ifndef ANALYSIS_LINE_INFO_H
#define ANALYSIS_LINE_INFO_H

#include <cstdint>
#include <string>
#include <utility>

// A text taken from a line of the log, and where that line starts.
struct LineInfo {
  // Offset of the line's first byte in the log. A last line without a line feed has -(its length + 2) instead, because
  // the stream gives no position at its end.
  int32_t position = 0;
  std::string line;  // the text taken, not the whole line
};

// A value recorded during a scan under its name: rule name, ".", parameter key.
using Record = std::pair<std::string, LineInfo>;

#endif  // ANALYSIS_LINE_INFO_H
