#include "analysis/line_finder.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t kWindow = 64 * 1024;  // bytes searched at once: few enough to stay in a processor's cache

}  // namespace

TextLine LineFinder::lineAt(size_t begin) const {
  const void* lineFeed = memchr(text_.data() + begin, '\n', text_.size() - begin);
  if (lineFeed == nullptr) return {begin, text_.size(), text_.size()};
  const size_t end = static_cast<size_t>(static_cast<const char*>(lineFeed) - text_.data());
  return {begin, end, end + 1};
}

size_t LineFinder::next(size_t pos, RuleFilter& filter) {
  while (true) {
    while (nextFound_ < found_.size() && found_[nextFound_] < pos) ++nextFound_;
    if (nextFound_ < found_.size()) return found_[nextFound_];
    const size_t begin = std::max(pos, windowEnd_);
    if (begin >= text_.size()) return text_.size();
    windowEnd_ = lineAt(std::min(begin + kWindow, text_.size() - 1)).next;
    found_.clear();
    nextFound_ = 0;
    filter.findLines(text_.substr(begin, windowEnd_ - begin), found_);
    for (size_t& start : found_) start += begin;
  }
}

void LineFinder::forget() {
  found_.clear();
  nextFound_ = 0;
  windowEnd_ = 0;
}

// The beginning of the window that ends at `to`.
size_t LineFinder::windowBefore(size_t from, size_t to) const {
  if (to - from <= kWindow) return from;
  const size_t lineFeed = text_.rfind('\n', to - kWindow);
  return lineFeed == std::string_view::npos || lineFeed < from ? from : lineFeed + 1;
}
