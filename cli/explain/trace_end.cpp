#include "cli/explain/trace_end.h"

#include <algorithm>

#include "util/limits.h"
#include "util/trace_cut.h"

namespace {

// What ends the trace in front of `line`, after `tried` lines.
std::string EndOf(std::string_view line, size_t number, size_t tried) {
  if (tried >= static_cast<size_t>(kMaxTraceLines)) return "; no stack is searched in more lines";
  if (line.empty()) return "; line " + std::to_string(number) + " is empty, which ends it";
  return "; the last " + std::to_string(kMaxTraceMisses + 1) + " in a row hold no frame, which ends it";
}

}  // namespace

std::string WhyTraceEnds(std::string_view log, const LogLine& noted, const std::string& pattern) {
  if (noted.offset + noted.length >= log.size()) return "line " + std::to_string(noted.number) + " has no line feed";
  ExpressionCache expressions;
  TraceCut cut(expressions, pattern, "");
  std::string trace;
  std::string end = ", up to the end of the log";
  size_t tried = 0;
  for (size_t begin = noted.offset; begin < log.size(); ++tried) {
    const size_t lineEnd = std::min(log.find('\n', begin), log.size());
    const std::string_view line = log.substr(begin, lineEnd - begin);
    if (!cut.take(std::string(line), trace)) {
      end = EndOf(line, noted.number + tried, tried);
      break;
    }
    begin = lineEnd + 1;
  }
  const std::string first = std::to_string(noted.number);
  return (tried == 1 ? "line " + first + " was tried"
                     : "lines " + first + " to " + std::to_string(noted.number + tried - 1) + " were tried") +
         end;
}
