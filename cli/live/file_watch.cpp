#include "cli/live/file_watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "cli/output/input_error.h"

namespace {

constexpr uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CREATE;
constexpr int kQuiet = 10;     // ms without an event after which a save is over
constexpr int kMaxRounds = 8;  // of waiting for that

}  // namespace

FileWatch::FileWatch(const std::vector<std::string>& files) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (fd_ < 0) throw InputError("inotify", std::generic_category().message(errno));
  for (const std::string& file : files) {
    watch(file);
    std::error_code ignored;
    const std::string real = std::filesystem::canonical(file, ignored).string();
    if (!real.empty()) watch(real);
  }
}

FileWatch::~FileWatch() { close(fd_); }

void FileWatch::watch(const std::string& path) {
  const std::filesystem::path file(path);
  const std::string folder = file.has_parent_path() ? file.parent_path().string() : ".";
  const int watched = inotify_add_watch(fd_, folder.c_str(), kEvents);
  if (watched < 0) throw InputError(folder, std::generic_category().message(errno));
  names_[watched].insert(file.filename().string());
}

// Whether one of the events that have come is about one of the files.
bool FileWatch::takeEvents() {
  alignas(inotify_event) char buffer[16 * 1024];
  bool isOurs = false;
  for (ssize_t size = 0; (size = read(fd_, buffer, sizeof buffer)) > 0;) {
    for (const char* at = buffer; at < buffer + size;) {
      inotify_event event;
      memcpy(&event, at, sizeof event);
      const auto names = names_.find(event.wd);
      const char* const name = event.len > 0 ? at + sizeof event : "";
      isOurs = isOurs || (event.mask & IN_Q_OVERFLOW) != 0 || (names != names_.end() && names->second.count(name) > 0);
      at += sizeof event + event.len;
    }
  }
  return isOurs;
}

bool FileWatch::wait(int stopFd) {
  while (true) {
    pollfd events[] = {{fd_, POLLIN, 0}, {stopFd, POLLIN, 0}};
    if (poll(events, 2, -1) < 0 && errno != EINTR) return false;
    if (events[1].revents != 0) return false;
    if (!takeEvents()) continue;
    // An editor that saves by a new file, or saves two files, has more to come.
    for (int round = 0; round < kMaxRounds && poll(events, 1, kQuiet) > 0; ++round) takeEvents();
    return true;
  }
}
