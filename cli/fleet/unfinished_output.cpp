#include "cli/fleet/unfinished_output.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "cli/output/input_error.h"

namespace {

[[noreturn]] void Fail(const std::string& path) { throw InputError(path, std::generic_category().message(errno)); }

}  // namespace

UnfinishedOutput::UnfinishedOutput(const std::string& path)
    : path_(path), file_(open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666)) {
  struct stat status {};
  if (file_ == -1 || fstat(file_, &status) != 0) Fail(path);
  if (!S_ISREG(status.st_mode)) throw InputError(path, "is not a file that could be gone on with");
  if (flock(file_, LOCK_EX | LOCK_NB) != 0) throw InputError(path, "another run is writing it");
  lines_.open(path, std::ios::binary);
  if (!lines_) Fail(path);
}

UnfinishedOutput::~UnfinishedOutput() {
  if (file_ != -1) close(file_);
}

// False at the end, or at a line that is cut.
bool UnfinishedOutput::peek() {
  if (hasLine_) return true;
  hasLine_ = std::getline(lines_, line_) && !lines_.eof();
  number_ += hasLine_ ? 1 : 0;
  return hasLine_;
}

void UnfinishedOutput::cut(size_t size) {
  isAtEnd_ = true;
  if (ftruncate(file_, static_cast<off_t>(size)) != 0) Fail(path_);
}

bool UnfinishedOutput::take(const std::string& head) {
  if (isAtEnd_) return false;
  if (!peek()) {
    cut(whole_);
    return false;
  }
  if (!line_.starts_with(head) || !line_.ends_with('}')) {
    throw InputError(path_ + ":" + std::to_string(number_),
                     "not the result of the log that comes here, " + head + "...");
  }
  hasErrors_ = hasErrors_ || line_.find(",\"error\":") < line_.find(",\"results\":");
  whole_ += line_.size() + 1;
  hasLine_ = false;
  return true;
}

bool UnfinishedOutput::takeAll(const std::string& head) {
  const size_t begin = whole_;
  const bool hadErrors = hasErrors_;
  if (!take(head)) return false;
  while (peek() && line_.starts_with(head)) take(head);
  if (hasLine_) return true;
  hasErrors_ = hadErrors;
  cut(begin);
  return false;
}

void UnfinishedOutput::finish() {
  if (isAtEnd_ || !peek()) return;
  throw InputError(path_ + ":" + std::to_string(number_), "there are more results than logs");
}
