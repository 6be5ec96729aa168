#ifndef UTIL_LINE_READER_H
#define UTIL_LINE_READER_H

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

#include "util/byte_source.h"
#include "util/limits.h"

// A line of a log, without its line feed. All three are offsets in the log.
struct TextLine {
  size_t begin = 0;
  size_t end = 0;
  size_t next = 0;  // beginning of the next line, or the end of the log

  size_t size() const { return end - begin; }
  bool hasLineFeed() const { return next > end; }
};

// Reads the lines of a log through one buffer, which is used again for each stretch of it; to go back is to read again.
// A view into the buffer is good until the next call. When a read fails the log ends: size() is 0 from then on.
class LineReader {
 public:
  static constexpr size_t kWindow = 64 * 1024;  // bytes: few enough to stay in a processor's cache

  // The buffer has room for `window` bytes and a line that is examined. REQUIRES: `source` outlives the reader.
  explicit LineReader(ByteSource& source, size_t window = kWindow);

  size_t size() const { return size_; }

  // Reads so many bytes at a time from now on. REQUIRES: no fewer than before.
  void widen(size_t window) { window_ = window; }

  // The line that begins at `begin`, which is below size(). One that the buffer cannot hold is passed through it.
  TextLine lineAt(size_t begin) {
    if (begin >= held_ && begin < heldEnd_) {
      const void* lineFeed = memchr(at(begin), '\n', heldEnd_ - begin);
      if (lineFeed != nullptr) return lineTo(begin, lineFeed);
    }
    return readLineAt(begin);
  }

  // The text of a line of at most kMaxLineLen bytes.
  std::string_view view(const TextLine& line);

  // Makes the text of any line the content of `text`.
  void copy(const TextLine& line, std::string& text);

  // The lines from `begin` on that fill a window, each of them whole. Empty when the first one does not fit the buffer.
  std::string_view linesFrom(size_t begin);

  // The lines up to `end` that fill a window, none from before `from`; all three are beginnings of lines or the end of
  // the log. `begin` is set to the first one's beginning. Empty when the last line does not fit the buffer; `begin` is
  // then its beginning.
  std::string_view linesBefore(size_t end, size_t from, size_t& begin);

  // False when bytes that the log had when it was opened cannot be read.
  bool isWhole();

 private:
  const char* at(size_t pos) const { return buffer_.data() + (pos - held_); }
  TextLine lineTo(size_t begin, const void* lineFeed) const {
    const size_t end = held_ + static_cast<size_t>(static_cast<const char*>(lineFeed) - buffer_.data());
    return {begin, end, end + 1};
  }
  TextLine readLineAt(size_t begin);
  size_t capacity() const { return window_ + kMaxLineLen + 1; }
  bool fill(size_t begin);
  void fail();

  ByteSource& source_;
  size_t window_;
  size_t size_;
  std::string buffer_;
  size_t held_ = 0;  // the buffer holds the log from here...
  size_t heldEnd_ = 0;
};

#endif  // UTIL_LINE_READER_H
