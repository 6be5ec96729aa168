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
#include <utility>

#include "cli/output/input_error.h"
#include "cli/output/terminal.h"

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
  throw InputError(path, std::generic_category().message(error));
}

// Owns a descriptor and writes to it; keeps what was wrong first.
class DescriptorBuffer : public std::streambuf {
 public:
  explicit DescriptorBuffer(int file) : file_(file) { setp(buffer_.data(), buffer_.data() + buffer_.size()); }
  ~DescriptorBuffer() override { close(); }
  DescriptorBuffer(const DescriptorBuffer&) = delete;
  DescriptorBuffer& operator=(const DescriptorBuffer&) = delete;

  // Returns an error number, 0 for none: some file systems report only here that there is no room.
  int close() {
    if (file_ < 0) return error_;
    sync();
    if (::close(std::exchange(file_, -1)) != 0 && error_ == 0) error_ = errno;
    return error_;
  }

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
  int file_;
  int error_ = 0;
  std::array<char, 64 * 1024> buffer_;
};

// Writes what `print` gives to the descriptor, which it closes, of the file that the user knows as `path`.
void PrintInto(int file, const std::string& path, const std::function<void(std::ostream& out)>& print) {
  if (file < 0) Fail(path, errno);
  DescriptorBuffer buffer(file);
  std::ostream out(&buffer);
  print(out);
  if (const int error = buffer.close(); error != 0) Fail(path, error);
}

// The file that is made or replaced; a link stays one.
std::filesystem::path TargetOf(const std::string& path) {
  return std::filesystem::exists(path) ? std::filesystem::canonical(path) : std::filesystem::path(path);
}

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
    return PrintInto(open(path.c_str(), O_WRONLY | O_CLOEXEC), path, print);
  }
  const std::string target = TargetOf(path).string();
  std::string beside = target + ".XXXXXX";
  const int file = mkstemp(beside.data());
  if (file < 0) Fail(path, errno);
  try {
    PrintInto(file, path, print);
    const mode_t mask = umask(0);
    umask(mask);
    const mode_t mode = exists ? status.st_mode & 07777 : 0666 & ~mask;
    if (chmod(beside.c_str(), mode) != 0 || std::rename(beside.c_str(), target.c_str()) != 0) Fail(path, errno);
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
  const std::string folder = TargetOf(path).parent_path().string();
  if (access(folder.empty() ? "." : folder.c_str(), W_OK) != 0) Fail(path, errno);
}

void PrintTo(const std::string& path, const std::function<void(bool inColour, std::ostream& out)>& print) {
  if (path.empty() || path == "-") return print(OutputTakesColours(), std::cout);
  WriteWholeFile(path, [&print](std::ostream& out) { print(false, out); });
}
