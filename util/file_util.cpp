#include "util/file_util.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "util/limits.h"

namespace {

static_assert(PATH_MAX == 4096, "a path has at most 4095 bytes and the ending zero");

bool HasLegalLength(const std::string& path) { return !path.empty() && path.size() < PATH_MAX; }

// O_NONBLOCK is for open() alone, which would otherwise wait for ever on a pipe without a writer; reads block as usual.
int OpenForReading(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd >= 0) fcntl(fd, F_SETFL, 0);
  return fd;
}

// False when reading fails and when there is more than the largest size.
bool ReadToEnd(int fd, std::string& content) {
  std::array<char, 4096> chunk{};
  while (content.size() <= kMaxFileSize) {
    const ssize_t count = read(fd, chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    content.append(chunk.data(), static_cast<size_t>(count));
  }
  return false;
}

}  // namespace

bool FileUtil::FileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

bool FileUtil::IsLegalPath(const std::string& path) { return path.find("./") == std::string::npos; }

bool FileUtil::PathToRealPath(const std::string& path, std::string& realPath) {
  if (!HasLegalLength(path)) return false;
  std::array<char, PATH_MAX> resolved{};
  if (realpath(path.c_str(), resolved.data()) == nullptr) return false;
  realPath = resolved.data();
  return FileExists(realPath);
}

bool FileUtil::LoadStringFromFile(const std::string& path, std::string& content) {
  const int fd = OpenForReading(path);
  if (fd < 0) return false;
  // A pipe or device cannot seek and reports no size: it is read as far as it goes, up to the same limit.
  const off_t size = lseek(fd, 0, SEEK_END);
  lseek(fd, 0, SEEK_SET);
  std::string loaded;
  const bool isLoaded = size <= static_cast<off_t>(kMaxFileSize) && ReadToEnd(fd, loaded);
  close(fd);
  if (isLoaded) content = std::move(loaded);
  return isLoaded;
}

std::string FileUtil::GetFileNameByFd(int fd) {
  if (fd < 1) return "";
  std::array<char, PATH_MAX + 1> name{};
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  return readlink(link.c_str(), name.data(), PATH_MAX) < 0 ? "" : name.data();
}

bool FileUtil::LoadStringFromFdToFile(int fd, std::string& content) {
  const std::string name = GetFileNameByFd(fd);
  return !name.empty() && LoadStringFromFile(name, content);
}

bool FileUtil::LoadStringFromFd(int fd, std::string& content) {
  if (fd < 1) return false;
  const off_t size = lseek(fd, 0, SEEK_END);
  if (size > static_cast<off_t>(kMaxFileSize)) return false;
  if (size < 0) return LoadStringFromFdToFile(fd, content);
  if (size == 0) return true;
  content.resize(static_cast<size_t>(size));
  return lseek(fd, 0, SEEK_SET) == 0 && read(fd, content.data(), content.size()) == size;
}

int FileUtil::GetFileFd(const std::string& path) {
  std::string realPath;
  if (!IsLegalPath(path) || !PathToRealPath(path, realPath)) return -1;
  return OpenForReading(realPath);
}

bool FileUtil::ReadFileBuff(const std::string& path, std::stringstream& buffer) {
  const int fd = GetFileFd(path);
  if (fd < 0) return false;
  std::string content;
  const bool loaded = LoadStringFromFd(fd, content);
  close(fd);
  if (loaded) buffer.str(std::move(content));
  return loaded;
}
