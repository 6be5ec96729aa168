#ifndef UTIL_TRACE_CUT_H
#define UTIL_TRACE_CUT_H

#include <string>

#include "regex/expression.h"
#include "util/byte_source.h"

// Cuts one stack trace out of the lines that it is given, as FileUtil::GetTrace describes.
class TraceCut {
 public:
  // REQUIRES: `expressions` outlives the object.
  TraceCut(ExpressionCache& expressions, const std::string& frameRegex, const std::string& startRegex)
      : expressions_(expressions), frame_(frameRegex), start_(startRegex) {}

  // Takes the next line, and appends its frame to `trace` when it has one. False when the trace has ended before it.
  bool take(const std::string& line, std::string& trace);

  // Passes over the next line, which is too long. False as above.
  bool skip();

 private:
  ExpressionCache& expressions_;
  const std::string frame_;
  const std::string start_;  // empty when the first frame begins the trace
  bool started_ = false;
  int misses_ = 0;
  int linesRead_ = 0;
};

// Cuts the trace that is searched from byte `offset` of the log, and reads that far only. Empty when the log is found
// cut.
std::string CutTrace(ByteSource& log, int offset, const std::string& frameRegex, ExpressionCache& expressions);

#endif  // UTIL_TRACE_CUT_H
