#ifndef UTIL_BYTE_SOURCE_H
#define UTIL_BYTE_SOURCE_H

#include <cstddef>
#include <memory>
#include <sstream>
#include <string>

// A log of known size that is read from any offset, so that nobody has to hold all of it.
class ByteSource {
 public:
  explicit ByteSource(size_t size) : size_(size) {}
  virtual ~ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  size_t size() const { return size_; }

  // Copies `count` bytes from `offset` on to `data`. False when not all of them can be read, although `offset + count`
  // is at most size(): a file may be cut while it is read.
  virtual bool read(size_t offset, char* data, size_t count) = 0;

  // Whether opening `path` would give the same bytes: it still names the open file, whose size is the same. What is no
  // file has no path.
  virtual bool isStill(const std::string& /*path*/) const { return false; }

 private:
  const size_t size_;
};

// Opens the log at `path`, and judges it as FileUtil::ReadFileBuff does: null for what that function fails on. Only
// what cannot seek is held whole. A file keeps the size it has now; one that yields fewer bytes is null.
std::unique_ptr<ByteSource> OpenLog(const std::string& path);

// The content of a stream, whose read position changes with each read. REQUIRES: `stream` outlives the source.
std::unique_ptr<ByteSource> SourceOf(std::stringstream& stream);

#endif  // UTIL_BYTE_SOURCE_H
