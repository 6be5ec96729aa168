#include "util/byte_source.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "util/file_util.h"
#include "util/limits.h"

namespace {

class TextSource : public ByteSource {
 public:
  explicit TextSource(std::string text) : ByteSource(text.size()), text_(std::move(text)) {}

  bool read(size_t offset, char* data, size_t count) override { return text_.copy(data, count, offset) == count; }

 private:
  const std::string text_;
};

size_t SizeOf(std::streambuf& buffer) {
  const std::streampos before = buffer.pubseekoff(0, std::ios::cur, std::ios::in);
  const std::streamoff size = buffer.pubseekoff(0, std::ios::end, std::ios::in);
  buffer.pubseekpos(before, std::ios::in);
  return static_cast<size_t>(std::max<std::streamoff>(0, size));
}

class StreamSource : public ByteSource {
 public:
  explicit StreamSource(std::streambuf& buffer) : ByteSource(SizeOf(buffer)), buffer_(buffer) {}

  bool read(size_t offset, char* data, size_t count) override {
    const auto wanted = static_cast<std::streamsize>(count);
    return buffer_.pubseekpos(static_cast<std::streamoff>(offset), std::ios::in) >= 0 &&
           buffer_.sgetn(data, wanted) == wanted;
  }

 private:
  std::streambuf& buffer_;
};

// Owns the descriptor. A mapping of the file would end the process when somebody cuts it.
class FileSource : public ByteSource {
 public:
  FileSource(int fd, size_t size) : ByteSource(size), fd_(fd) {}
  ~FileSource() override { close(fd_); }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  bool read(size_t offset, char* data, size_t count) override {
    while (count > 0) {
      const ssize_t got = pread(fd_, data, count, static_cast<off_t>(offset));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      offset += static_cast<size_t>(got);
      data += got;
      count -= static_cast<size_t>(got);
    }
    return true;
  }

  bool isStill(const std::string& path) const override {
    struct stat named {};
    struct stat open {};
    return stat(path.c_str(), &named) == 0 && fstat(fd_, &open) == 0 && named.st_dev == open.st_dev &&
           named.st_ino == open.st_ino && named.st_size == static_cast<off_t>(size());
  }

 private:
  const int fd_;
};

std::unique_ptr<ByteSource> SourceBehind(int fd) {
  std::string content;
  if (!FileUtil::LoadStringFromFdToFile(fd, content)) return nullptr;
  return std::make_unique<TextSource>(std::move(content));
}

}  // namespace

std::unique_ptr<ByteSource> OpenLog(const std::string& path) {
  const int fd = FileUtil::GetFileFd(path);
  if (fd < 0) return nullptr;
  const off_t size = lseek(fd, 0, SEEK_END);
  auto file = std::make_unique<FileSource>(fd, static_cast<size_t>(std::max<off_t>(0, size)));
  // Descriptor 0 is refused wherever the library reads.
  if (fd == 0 || size > static_cast<off_t>(kMaxFileSize)) return nullptr;
  if (size < 0) return SourceBehind(fd);
  char last = 0;
  if (size > 0 && !file->read(file->size() - 1, &last, 1)) return nullptr;
  return file;
}

std::unique_ptr<ByteSource> SourceOf(std::stringstream& stream) {
  return std::make_unique<StreamSource>(*stream.rdbuf());
}
