#include "cli/library/scratch_file.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cli/output/input_error.h"
#include "cli/output/output_file.h"

namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const std::string& path) {
  throw InputError(path, "no temporary file can be written: " + std::generic_category().message(errno));
}

// Waits until all other ends of the pipe are closed. In a session of its own, so that what ends all processes of a
// command leaves it; it holds nothing else open, for which somebody could wait.
[[noreturn]] void RemoveAtEnd(const std::string& folder, int pipeEnd) {
  setsid();
  if (fork() != 0 || dup2(pipeEnd, STDIN_FILENO) < 0) _exit(0);
  close_range(STDIN_FILENO + 1, ~0U, 0);
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) < 0 && errno == EINTR) {
  }
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  _exit(0);
}

std::string MakeFolder() {
  std::error_code error;
  const fs::path parent = fs::canonical(fs::temp_directory_path(error), error);
  std::string folder = (parent / "kestrix-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) Fail(folder);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Fail(folder);
  const pid_t child = fork();
  if (child == 0) RemoveAtEnd(folder, ends[0]);
  close(ends[0]);  // the other end closes with this process
  while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
  return folder;
}

}  // namespace

ScratchFile::ScratchFile() {
  static const std::string folder = MakeFolder();
  path_ = folder + "/log-XXXXXX";
  file_ = mkostemp(path_.data(), O_CLOEXEC);
  if (file_ < 0) Fail(path_);
}

ScratchFile::~ScratchFile() {
  unlink(path_.c_str());
  close(file_);
}

void ScratchFile::append(std::string_view text) {
  if (!WriteAll(file_, text)) Fail(path_);
}
