#include "cli/output/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <system_error>

#include "cli/output/input_error.h"
#include "cli/output/terminal.h"

namespace {

[[noreturn]] void Fail(const std::string& path, int error) {
  throw InputError(path, std::generic_category().message(error));
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

void WriteWholeFile(const std::string& path, const std::string& content) {
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {  // a pipe, or a terminal: there is nothing to replace
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0 || !WriteAll(file, content)) Fail(path, errno);
    if (close(file) != 0) Fail(path, errno);
    return;
  }
  const std::string target = exists ? std::filesystem::canonical(path).string() : path;  // a link stays one
  std::string beside = target + ".XXXXXX";
  const int file = mkstemp(beside.data());
  if (file < 0) Fail(path, errno);
  const mode_t mask = umask(0);
  umask(mask);
  const mode_t mode = exists ? status.st_mode & 07777 : 0666 & ~mask;
  const bool isWritten = fchmod(file, mode) == 0 && WriteAll(file, content);
  const int writeError = errno;
  if (close(file) == 0 && isWritten && std::rename(beside.c_str(), target.c_str()) == 0) return;
  const int error = isWritten ? errno : writeError;
  unlink(beside.c_str());
  Fail(path, error);
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
  std::ostringstream text;
  print(false, text);
  WriteWholeFile(path, text.str());
}
