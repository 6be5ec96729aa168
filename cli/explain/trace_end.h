#ifndef CLI_EXPLAIN_TRACE_END_H
#define CLI_EXPLAIN_TRACE_END_H

#include <string>
#include <string_view>

#include "cli/explain/story.h"

// Which lines of a log are tried for the stack that is noted at a line, and what ends it, in words: the trace is cut
// once more by the engine. `pattern` is the expression of its frames.
std::string WhyTraceEnds(std::string_view log, const LogLine& noted, const std::string& pattern);

#endif  // CLI_EXPLAIN_TRACE_END_H
