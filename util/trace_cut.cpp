#include "util/trace_cut.h"

#include "util/limits.h"
#include "util/line_reader.h"

namespace {

constexpr size_t kTraceWindow = 8 * 1024;  // most traces fit

}  // namespace

bool TraceCut::skip() { return linesRead_++ < kMaxTraceLines; }

bool TraceCut::take(const std::string& line, std::string& trace) {
  if (!skip()) return false;
  if (line.size() > kMaxLineLen) return true;
  if (line.empty() || misses_ > kMaxTraceMisses) return false;
  Regex::Match match;
  const bool hasStart = !start_.empty();
  if (!started_ && hasStart && !expressions_.search(start_, line, match)) return true;
  const bool isFrame = expressions_.search(frame_, line, match);
  started_ = started_ || hasStart || isFrame;
  if (isFrame) {
    trace.append(match.whole).append("\n");
    misses_ = 0;
  } else if (started_) {
    ++misses_;
  }
  return true;
}

std::string CutTrace(ByteSource& log, int offset, const std::string& frameRegex, ExpressionCache& expressions) {
  if (offset < 0) return "";
  LineReader reader(log, kTraceWindow);
  TraceCut cut(expressions, frameRegex, "");
  std::string line;
  std::string trace;
  bool goesOn = true;
  for (auto pos = static_cast<size_t>(offset); goesOn && pos < reader.size();) {
    const TextLine next = reader.lineAt(pos);
    pos = next.next;
    const bool isTooLong = next.size() > kMaxLineLen;
    if (!isTooLong) reader.copy(next, line);
    goesOn = isTooLong ? cut.skip() : cut.take(line, trace);
  }
  return reader.isWhole() ? trace : "";
}
