#include "cli/library/log_file.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

#include "cli/library/input.h"
#include "cli/library/scratch_file.h"
#include "cli/output/terminal.h"
#include "util/file_util.h"
#include "util/limits.h"

namespace {

constexpr size_t kChunk = 64 * 1024;
constexpr size_t kMaxInput =
    2 * kMaxFileSize;  // of a compressed log: one that may be read is hardly ever larger than itself
constexpr std::string_view kGzipMark = "\x1f\x8b";
constexpr std::string_view kZstdMark = "\x28\xb5\x2f\xfd";
constexpr char kStandardInput[] = "-";

// A file that is read from its beginning.
class Reader {
 public:
  // No `path`: standard input.
  Reader(const std::string& name, const std::string& path)
      : name_(name), file_(path.empty() ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (file_ < 0) fail();
  }
  ~Reader() {
    if (file_ != STDIN_FILENO) close(file_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // The next bytes, empty at the end only; good until the next call.
  std::string_view next(size_t most = kChunk) {
    ssize_t size = -1;
    while ((size = read(file_, buffer_.data(), most)) < 0) {
      if (errno != EINTR) fail();
    }
    size_ += static_cast<size_t>(size);
    if (size_ > kMaxInput) throw InputError(name_, "is larger than " + MaxLogSizeText());
    return {buffer_.data(), static_cast<size_t>(size)};
  }

  // As much as shows how the log is compressed.
  std::string begin() {
    std::string bytes;
    for (std::string_view more = " "; !more.empty() && bytes.size() < kZstdMark.size(); bytes += more) {
      more = next(kZstdMark.size() - bytes.size());
    }
    return bytes;
  }

 private:
  [[noreturn]] void fail() const { throw InputError(name_, std::generic_category().message(errno)); }

  const std::string name_;
  const int file_;
  size_t size_ = 0;
  std::array<char, kChunk> buffer_;
};

// Where the log goes, as far as it may.
class Target {
 public:
  Target(const std::string& name, ScratchFile& file) : name_(name), file_(file) {}

  void append(std::string_view text) {
    size_ += text.size();
    if (size_ > kMaxFileSize) fail("is larger than " + MaxLogSizeText());
    file_.append(text);
  }

  [[noreturn]] void fail(const std::string& reason) const { throw InputError(name_, reason); }

 private:
  const std::string name_;
  ScratchFile& file_;
  size_t size_ = 0;
};

void Copy(std::string_view begin, Reader& reader, Target& target) {
  for (; !begin.empty(); begin = reader.next()) target.append(begin);
}

// One or more gzip members in a row.
void Gunzip(std::string_view begin, Reader& reader, Target& target) {
  constexpr int kGzipOnly = 16;
  z_stream stream{};
  if (inflateInit2(&stream, MAX_WBITS + kGzipOnly) != Z_OK) target.fail("cannot be decompressed: no memory");
  const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&stream, inflateEnd);
  std::array<char, kChunk> out;
  int state = Z_OK;
  for (std::string_view input = begin; !input.empty(); input = reader.next()) {
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    stream.avail_in = static_cast<uInt>(input.size());
    do {
      if (state == Z_STREAM_END && stream.avail_in > 0) inflateReset(&stream);
      stream.next_out = reinterpret_cast<Bytef*>(out.data());
      stream.avail_out = static_cast<uInt>(out.size());
      state = inflate(&stream, Z_NO_FLUSH);
      if (state != Z_OK && state != Z_STREAM_END && state != Z_BUF_ERROR) target.fail("is no sound gzip file");
      target.append({out.data(), out.size() - stream.avail_out});
    } while (stream.avail_in > 0 || (stream.avail_out == 0 && state != Z_STREAM_END));
  }
  if (state != Z_STREAM_END) target.fail("is cut: the gzip file has no end");
}

// One or more zstd frames in a row. A frame that needs more than 128 MiB to be read is refused by the library.
void Unzstd(std::string_view begin, Reader& reader, Target& target) {
  const std::unique_ptr<ZSTD_DCtx, size_t (*)(ZSTD_DCtx*)> context(ZSTD_createDCtx(), ZSTD_freeDCtx);
  if (context == nullptr) target.fail("cannot be decompressed: no memory");
  std::array<char, kChunk> out;
  size_t left = 1;  // 0 at the end of a frame
  for (std::string_view text = begin; !text.empty(); text = reader.next()) {
    ZSTD_inBuffer input{text.data(), text.size(), 0};
    ZSTD_outBuffer output{};
    do {
      output = {out.data(), out.size(), 0};
      left = ZSTD_decompressStream(context.get(), &output, &input);
      if (ZSTD_isError(left) != 0) target.fail("is no sound zstd file");
      target.append({out.data(), output.pos});
    } while (input.pos < input.size || (left != 0 && output.pos == output.size));
  }
  if (left != 0) target.fail("is cut: the zstd file has no end");
}

// How to bring a log that begins like this.
auto FormOf(std::string_view begin) {
  if (begin.starts_with(kGzipMark)) return Gunzip;
  return begin.starts_with(kZstdMark) ? Unzstd : Copy;
}

}  // namespace

LogFile::LogFile(const std::string& name, const std::string& path, bool isLimited) {
  if (!path.empty()) CheckReadableFile(path);
  Reader reader(name, path);
  const std::string begin = reader.begin();
  const auto bring = FormOf(begin);
  if (!path.empty() && bring == Copy) {
    path_ = isLimited ? CheckedLogPath(path) : CheckedLogPathOfAnySize(path);
    return;
  }
  scratch_ = std::make_unique<ScratchFile>();
  Target target(name, *scratch_);
  bring(begin, reader, target);
  path_ = CheckedLogPath(scratch_->path());
}

LogFile::~LogFile() = default;

LogFile LogFile::ofArgument(const std::string& argument, bool isLimited) {
  if (argument == kStandardInput) return {"standard input", "", isLimited};
  return {argument, argument, isLimited};
}

void CheckLogPlace(const std::string& argument) {
  if (argument == kStandardInput) throw InputError("standard input", "lies nowhere: path tests need --as");
  CheckReadableFile(argument);
  if (FormOf(Reader(argument, argument).begin()) != Copy) {
    throw InputError(argument, "is compressed, which no log is on the device: path tests need --as");
  }
}

std::string DevicePath(const std::string& as, const std::string& log) {
  std::string path = as;
  if (as.ends_with('/') && log != kStandardInput) {
    path += log.substr(log.rfind('/') + 1);
    for (const char* ending : {".gz", ".zst"}) {
      if (path.ends_with(ending)) path.erase(path.rfind('.'));
    }
  }
  if (!path.starts_with('/')) throw InputError("--as", Quoted(as) + " is no absolute path");
  if (path.ends_with('/')) throw InputError("--as", Quoted(as) + " is a folder, and the log has no name");
  if (path.size() >= PATH_MAX) throw InputError("--as", "the path is longer than any on the device");
  if (!FileUtil::IsLegalPath(path)) throw InputError("--as", "the library reads no path that holds \"./\"");
  return path;
}
