#include "analysis/line_finder.h"

#include <string_view>

bool LineFinder::next(size_t& pos, RuleFilter& filter) {
  if (pos >= windowEnd_) {
    found_.clear();
    nextFound_ = 0;
    const std::string_view lines = reader_.linesFrom(pos);
    // A line that does not fit is too long to be examined.
    windowEnd_ = lines.empty() ? reader_.lineAt(pos).next : pos + lines.size();
    filter.findLines(lines, found_);
    for (size_t& start : found_) start += pos;
  }
  while (nextFound_ < found_.size() && found_[nextFound_] < pos) ++nextFound_;
  const bool isFound = nextFound_ < found_.size();
  pos = isFound ? found_[nextFound_] : windowEnd_;
  return isFound;
}

void LineFinder::forget() {
  found_.clear();
  nextFound_ = 0;
  windowEnd_ = 0;
}
