#include "cli/fleet/line_input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "cli/output/input_error.h"

void CheckStandardInput(const std::vector<std::string>& files) {
  if (std::count(files.begin(), files.end(), "-") < 2) return;
  throw InputError("-", "is there twice; standard input can be read once");
}

LineInput::LineInput(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      file_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      buffer_(256 * 1024, '\0') {
  if (file_ == -1) throw InputError(name_, std::generic_category().message(errno));
}

LineInput::~LineInput() {
  if (file_ != STDIN_FILENO) close(file_);
}

bool LineInput::next(std::string_view& line) {
  size_t searched = 0;  // bytes of the line
  size_t end = std::string::npos;
  do {
    const std::string_view rest = std::string_view(buffer_).substr(begin_, end_ - begin_);
    end = rest.find('\n', searched);
    searched = rest.size();
  } while (end == std::string::npos && searched < kMaxLine && readMore());
  if (searched == 0) return false;
  line = std::string_view(buffer_).substr(begin_, std::min(end, searched));
  begin_ += line.size() + (end == std::string::npos ? 0 : 1);
  ++number_;
  return true;
}

// Moves what is not yet used to the beginning of the buffer. False at the end.
bool LineInput::readMore() {
  std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  if (end_ == buffer_.size()) buffer_.resize(2 * buffer_.size());
  ssize_t size = -1;
  do {
    size = read(file_, buffer_.data() + end_, buffer_.size() - end_);
  } while (size < 0 && errno == EINTR);
  if (size < 0) throw InputError(name_, std::generic_category().message(errno));
  end_ += static_cast<size_t>(size);
  return size > 0;
}
