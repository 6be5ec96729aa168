#include "regex/regex.h"
#include "util/file_util.h"
#include "util/limits.h"

void FileUtil::GetTrace(std::stringstream& buffer, int offset, const std::string& frameRegex, std::string& trace,
                        std::string startRegex) {
  Regex frame(frameRegex);
  Regex start(startRegex);
  bool started = false;
  int misses = 0;
  buffer.seekg(offset, std::ios::beg);
  std::string line;
  for (int linesRead = 0; std::getline(buffer, line) && linesRead < kMaxTraceLines; ++linesRead) {
    if (line.size() > kMaxLineLen) continue;
    if (line.empty() || misses > kMaxTraceMisses) return;
    Regex::Match match;
    if (!started && !startRegex.empty() && !start.search(line, match)) continue;
    const bool isFrame = frame.search(line, match);
    if (!started && startRegex.empty() && !isFrame) continue;
    started = true;
    if (isFrame) {
      trace.append(match.whole).append("\n");
      misses = 0;
    } else {
      ++misses;
    }
  }
}
