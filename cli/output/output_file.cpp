#include "cli/output/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <streambuf>
#include <system_error>

#include "cli/output/input_error.h"
#include "cli/output/terminal.h"

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
  throw InputError(path, std::generic_category().message(error));
}

// Writes to a descriptor, and keeps what was wrong first.
class DescriptorBuffer : public std::streambuf {
 public:
  explicit DescriptorBuffer(int file) : file_(file) { setp(buffer_.data(), buffer_.data() + buffer_.size()); }

  int error() const { return error_; }

 protected:
  int_type overflow(int_type byte) override {
    if (sync() != 0) return traits_type::eof();
    return traits_type::eq_int_type(byte, traits_type::eof()) ? traits_type::not_eof(byte)
                                                              : sputc(traits_type::to_char_type(byte));
  }

  int sync() override {
    const std::string_view content(pbase(), static_cast<size_t>(pptr() - pbase()));
    if (error_ == 0 && !WriteAll(file_, content)) error_ = errno;
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return error_ == 0 ? 0 : -1;
  }

 private:
  const int file_;
  int error_ = 0;
  std::array<char, 64 * 1024> buffer_;
};

// Owns a descriptor of the file that the user knows as `path`.
class OpenFile {
 public:
  OpenFile(const std::string& path, int descriptor) : path_(path), descriptor_(descriptor) {
    if (descriptor_ < 0) Fail(path_, errno);
  }
  ~OpenFile() { close(descriptor_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int descriptor() const { return descriptor_; }

  void print(const std::function<void(std::ostream& out)>& print) const {
    DescriptorBuffer buffer(descriptor_);
    std::ostream out(&buffer);
    print(out);
    out.flush();
    if (buffer.error() != 0) Fail(path_, buffer.error());
  }

 private:
  const std::string& path_;
  const int descriptor_;
};

}  // namespace

bool WriteAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t size = write(file, content.data(), content.size());
    if (size < 0 && errno != EINTR) return false;
    if (size > 0) content.remove_prefix(static_cast<size_t>(size));
  }
  return true;
}

void WriteWholeFile(const std::string& path, const std::function<void(std::ostream& out)>& print) {
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {  // a pipe, or a terminal: there is nothing to replace
    const OpenFile file(path, open(path.c_str(), O_WRONLY | O_CLOEXEC));
    return file.print(print);
  }
  const std::string target = exists ? std::filesystem::canonical(path).string() : path;  // a link stays one
  std::string beside = target + ".XXXXXX";
  const OpenFile file(path, mkstemp(beside.data()));
  try {
    const mode_t mask = umask(0);
    umask(mask);
    if (fchmod(file.descriptor(), exists ? status.st_mode & 07777 : 0666 & ~mask) != 0) Fail(path, errno);
    file.print(print);
    if (std::rename(beside.c_str(), target.c_str()) != 0) Fail(path, errno);
  } catch (...) {
    unlink(beside.c_str());
    throw;
  }
}

void WriteWholeFile(const std::string& path, const std::string& content) {
  WriteWholeFile(path, [&content](std::ostream& out) { out << content; });
}

void CheckOutput(const std::string& path) {
  struct stat status {};
  if (path.empty() || path == "-") return;
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) Fail(path, EISDIR);
  if (exists && !S_ISREG(status.st_mode)) return;
  const std::filesystem::path target = exists ? std::filesystem::canonical(path) : std::filesystem::path(path);
  const std::string folder = target.parent_path().string();
  if (access(folder.empty() ? "." : folder.c_str(), W_OK) != 0) Fail(path, errno);
}

void PrintTo(const std::string& path, const std::function<void(bool inColour, std::ostream& out)>& print) {
  if (path.empty() || path == "-") return print(OutputTakesColours(), std::cout);
  WriteWholeFile(path, [&print](std::ostream& out) { print(false, out); });
}
