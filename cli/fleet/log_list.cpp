#include "cli/fleet/log_list.h"

#include <json/json.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

#include "cli/output/json_text.h"

namespace {

constexpr size_t kMaxLine = 1024 * 1024;  // bytes of a line of the list

std::string Joined(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

// Reads more of standard input. kWait when that would block; kEnd also when it cannot be read.
LogList::Next ReadInput(std::string& input) {
  pollfd event = {STDIN_FILENO, POLLIN, 0};
  if (poll(&event, 1, 0) == 0) return LogList::Next::kWait;
  char buffer[64 * 1024];
  const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
  if (size < 0 && errno == EINTR) return LogList::Next::kWait;
  if (size <= 0) return LogList::Next::kEnd;
  input.append(buffer, static_cast<size_t>(size));
  return LogList::Next::kEntry;
}

}  // namespace

LogList::LogList(std::vector<std::string> paths, std::string event)
    : paths_(std::move(paths)), event_(std::move(event)) {}

LogList::Next LogList::next(LogEntry& entry) {
  for (;;) {
    if (!folders_.empty()) {
      Folder& folder = folders_.back();
      if (folder.names.empty()) {
        folders_.pop_back();
        continue;
      }
      const std::string path = Joined(folder.path, folder.names.back());
      folder.names.pop_back();
      if (visit(path, std::string(folder.event), entry)) return Next::kEntry;
    } else if (readsInput_) {
      std::string line;
      const Next next = takeLine(line);
      if (next == Next::kWait) return next;
      readsInput_ = next != Next::kEnd;
      if (readsInput_ && readLine(line, entry)) return Next::kEntry;
    } else if (nextPath_ < paths_.size()) {
      const std::string& path = paths_[nextPath_++];
      readsInput_ = path == "-";
      if (!readsInput_ && visit(path, event_, entry)) return Next::kEntry;
    } else {
      return Next::kEnd;
    }
  }
}

// True when there is an entry; a folder is opened instead.
bool LogList::visit(const std::string& path, const std::string& event, LogEntry& entry) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return !open({path, event, status.st_dev, status.st_ino, {}}, entry);
  }
  entry = {path, event, event.empty() ? "it has no event type; --event gives one" : ""};
  return true;
}

// False, with an entry that says why, when the folder cannot be read.
bool LogList::open(Folder folder, LogEntry& entry) {
  entry = {folder.path, folder.event, ""};
  if (std::any_of(folders_.begin(), folders_.end(), [&folder](const Folder& outer) {
        return outer.device == folder.device && outer.inode == folder.inode;
      })) {
    entry.error = "the folder lies in itself, by a symbolic link";
    return false;
  }
  std::error_code error;
  for (std::filesystem::directory_iterator item(folder.path, error), end; !error && item != end;
       item.increment(error)) {
    folder.names.push_back(item->path().filename().string());
  }
  if (error) {
    entry.error = error.message();
    return false;
  }
  std::sort(folder.names.begin(), folder.names.end(), std::greater<>());
  folders_.push_back(std::move(folder));
  return true;
}

// A line of standard input, without its end.
LogList::Next LogList::takeLine(std::string& line) {
  size_t end = input_.find('\n', inputBegin_);
  if (end == std::string::npos) {
    input_.erase(0, inputBegin_);
    inputBegin_ = 0;
  }
  while (end == std::string::npos) {
    const size_t searched = input_.size();
    const Next next = ReadInput(input_);
    if (next == Next::kWait || (next == Next::kEnd && input_.empty())) return next;
    end = next == Next::kEnd ? input_.size() : input_.find('\n', searched);
    // Of a line that is too long the beginning is enough to name it.
    if (end == std::string::npos && input_.size() > 2 * kMaxLine) input_.erase(kMaxLine + 1, kMaxLine);
  }
  ++inputLine_;
  line = input_.substr(inputBegin_, end - inputBegin_);
  inputBegin_ = std::min(end + 1, input_.size());
  if (line.ends_with('\r')) line.pop_back();
  return Next::kEntry;
}

// True when there is an entry; an empty line has none.
bool LogList::readLine(const std::string& line, LogEntry& entry) {
  if (line.empty()) return false;
  if (line.front() != '{' && line.size() <= kMaxLine) return visit(line, event_, entry);
  entry = {"-:" + std::to_string(inputLine_), event_, ""};
  Json::Value root;
  if (line.size() > kMaxLine) {
    entry.error = "the line is longer than 1 MiB";
  } else if (!ReadJsonObject(line, root) || !root["log"].isString() ||
             !(root["event"].isString() || root["event"].isNull())) {
    entry.error = R"(the line is not a path and no object {"log": "<path>", "event": "<type>"})";
  } else {
    const std::string event = root["event"].asString();
    const std::string path = root["log"].asString();
    if (path.find('\0') == std::string::npos) return visit(path, event.empty() ? event_ : event, entry);
    entry.error = "the path holds a zero byte";
  }
  return true;
}
