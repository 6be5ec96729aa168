#include "cli/fleet/spill_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cli/output/output_file.h"

namespace {

int OpenUnnamed() {
  std::error_code error;
  std::string path = (std::filesystem::temp_directory_path(error) / "kestrix.XXXXXX").string();
  const int file = error ? -1 : mkostemp(path.data(), O_CLOEXEC);
  if (file != -1) unlink(path.c_str());
  return file;
}

}  // namespace

SpillFile::~SpillFile() {
  if (file_ != -1) close(file_);
}

bool SpillFile::append(std::string_view bytes, Place& place) {
  if (file_ == -1) file_ = OpenUnnamed();
  if (file_ == -1) return false;
  if (lseek(file_, static_cast<off_t>(size_), SEEK_SET) < 0 || !WriteAll(file_, bytes)) return false;
  place = {size_, bytes.size()};
  size_ += bytes.size();
  return true;
}

std::string SpillFile::read(Place place) const {
  std::string bytes(place.size, '\0');
  for (size_t done = 0; done < bytes.size();) {
    const auto size = pread(file_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(place.offset + done));
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) throw std::system_error(size < 0 ? errno : EIO, std::generic_category(), "a temporary file is lost");
    done += static_cast<size_t>(size);
  }
  return bytes;
}

void SpillFile::clear() {
  if (file_ != -1) close(file_);  // the next one is empty, and the space is free at once
  file_ = -1;
  size_ = 0;
}
