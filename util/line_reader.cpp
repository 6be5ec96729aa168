#include "util/line_reader.h"

#include <algorithm>

LineReader::LineReader(ByteSource& source, size_t window)
    : source_(source), window_(std::max<size_t>(window, 1)), size_(source.size()) {}

std::string_view LineReader::view(const TextLine& line) {
  if ((line.begin < held_ || line.end > heldEnd_) && !fill(line.begin)) return {};
  return {at(line.begin), line.size()};
}

void LineReader::copy(const TextLine& line, std::string& text) {
  if (line.size() <= kMaxLineLen) {
    text = view(line);
    return;
  }
  text.resize(line.size());
  if (source_.read(line.begin, text.data(), text.size())) return;
  text.clear();
  fail();
}

std::string_view LineReader::linesFrom(size_t begin) {
  if (!fill(begin)) return {};
  const std::string_view held(at(begin), heldEnd_ - begin);
  if (held.size() <= window_) return held;  // the rest of the log
  size_t lineFeed = held.find('\n', window_ - 1);
  if (lineFeed == std::string_view::npos && heldEnd_ == size_) return held;
  if (lineFeed == std::string_view::npos) lineFeed = held.rfind('\n');
  return held.substr(0, lineFeed == std::string_view::npos ? 0 : lineFeed + 1);
}

std::string_view LineReader::linesBefore(size_t end, size_t from, size_t& begin) {
  for (size_t to = end; to > from;) {
    begin = std::max(from, to - std::min(to, capacity()));
    if (!fill(begin)) return {};
    const std::string_view held(at(begin), to - begin);
    const bool isLast = to == end;
    if (isLast && begin == from) return held;
    // The first line may be cut. A line feed at the very end belongs to the last line.
    const size_t lineFeed = isLast ? held.find('\n') : held.rfind('\n');
    if (lineFeed != std::string_view::npos && begin + lineFeed + 1 < end) {
      begin += lineFeed + 1;
      return isLast ? held.substr(lineFeed + 1) : std::string_view();
    }
    to = begin;
  }
  begin = from;
  return {};
}

bool LineReader::isWhole() {
  if (size_ != source_.size()) return false;
  char last = 0;
  const bool isHeld = held_ == 0 && heldEnd_ == size_;
  return isHeld || source_.read(size_ - 1, &last, 1);
}

TextLine LineReader::readLineAt(size_t begin) {
  // After a failure a caller that goes from line to line still gets on.
  if (begin >= size_) return {begin, begin, begin + 1};
  for (size_t pos = begin; pos < size_; pos = heldEnd_) {
    if (!fill(pos)) return {begin, begin, begin + 1};
    const void* lineFeed = memchr(at(pos), '\n', heldEnd_ - pos);
    if (lineFeed != nullptr) return lineTo(begin, lineFeed);
  }
  return {begin, size_, size_};
}

// Makes the buffer begin at `begin` and hold as much as it can. What it holds already is not read again.
bool LineReader::fill(size_t begin) {
  if (begin >= size_) return false;
  buffer_.resize(std::min(capacity(), source_.size()));
  const size_t kept = begin >= held_ && begin < heldEnd_ ? heldEnd_ - begin : 0;
  memmove(buffer_.data(), at(kept == 0 ? held_ : begin), kept);
  held_ = begin;
  heldEnd_ = std::min(size_, begin + capacity());
  const bool isRead = source_.read(begin + kept, buffer_.data() + kept, heldEnd_ - begin - kept);
  if (!isRead) fail();
  return isRead;
}

void LineReader::fail() {
  size_ = 0;
  held_ = 0;
  heldEnd_ = 0;
}
