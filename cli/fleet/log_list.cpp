#include "cli/fleet/log_list.h"

#include <json/json.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <functional>
#include <system_error>
#include <utility>

#include "cli/fleet/line_input.h"
#include "cli/library/input.h"
#include "cli/library/log_file.h"
#include "cli/output/json_text.h"

namespace {

constexpr size_t kMaxKnown = 1'000'000;  // logs that are remembered, to tell repeated ones

constexpr char kNoItem[] =
    R"(the line is not a path and no object {"log": "<path>", "event": "<type>", "as": "<path>"})";

std::string Joined(const std::string& folder, const std::string& name) {
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

std::string PercentDecoded(const std::string& text) {
  std::string path;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    const char* end = text.data() + std::min(i + 3, text.size());
    const bool isEncoded =
        text[i] == '%' && i + 2 < text.size() && std::from_chars(text.data() + i + 1, end, byte, 16).ptr == end;
    path += isEncoded ? static_cast<char>(byte) : text[i];
    if (isEncoded) i += 2;
  }
  return path;
}

// The path in an object of a list; empty when it names none.
std::string PathOf(const Json::Value& object) {
  if (object["encodedPath"].isString()) return PercentDecoded(object["encodedPath"].asString());
  for (const char* name : {"log", "path"}) {
    if (object[name].isString()) return object[name].asString();
  }
  return "";
}

}  // namespace

std::string PercentEncoded(std::string_view path) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (c != '%' && byte > ' ' && byte < 0x7f) {
      encoded += c;
    } else {
      encoded += {'%', kDigits[byte / 16], kDigits[byte % 16]};
    }
  }
  return encoded;
}

LogList::LogList(LogSources sources) : sources_(std::move(sources)) { CheckStandardInput(sources_.paths); }

LogList::Next LogList::next(LogEntry& entry) {
  const Next next = find(entry);
  if (next == Next::kEntry) ++count_;
  return next;
}

LogList::Next LogList::find(LogEntry& entry) {
  for (;;) {
    if (!folders_.empty()) {
      if (takeFromFolder(entry)) return Next::kEntry;
    } else if (list_) {
      std::string item;
      const ListInput::Next next = list_->next(item);
      if (next == ListInput::Next::kWait) return Next::kWait;
      if (next == ListInput::Next::kEnd) {
        list_.reset();
      } else if (readItem(item, entry)) {
        return Next::kEntry;
      }
    } else if (isInFolder_ && count_ == countAtPath_) {
      isInFolder_ = false;
      entry = {sources_.paths[nextPath_ - 1], sources_.event, "the folder holds no log"};
      return Next::kEntry;
    } else if (nextPath_ == sources_.paths.size()) {
      return Next::kEnd;
    } else if (takePath(entry)) {
      return Next::kEntry;
    }
  }
}

bool LogList::takeFromFolder(LogEntry& entry) {
  Folder& folder = folders_.back();
  if (folder.names.empty()) {
    folders_.pop_back();
    return false;
  }
  const std::string path = Joined(folder.path, folder.names.back());
  folder.names.pop_back();
  return visit(path, Given(folder.given), entry);  // a copy, as the folder moves when another one is opened
}

// Of the command line.
bool LogList::takePath(LogEntry& entry) {
  const std::string& path = sources_.paths[nextPath_++];
  if (path == "-") {
    list_.emplace(sources_.listEndsInZero);
    isInFolder_ = false;
    return false;
  }
  countAtPath_ = count_;
  const bool isEntry = visit(path, {sources_.event, sources_.as}, entry);
  isInFolder_ = !isEntry;
  return isEntry;
}

// True when there is an entry; a folder is opened instead.
bool LogList::visit(const std::string& path, const Given& given, LogEntry& entry) {
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) return !open({path, given, status.st_dev, status.st_ino, {}}, entry);
  entry = {path, given.event, path.empty() ? "the path is empty" : ""};
  try {
    if (!given.as.empty()) entry.as = DevicePath(given.as, path);
  } catch (const InputError& error) {
    entry.error = "\"as\": " + error.reason();
  }
  noteRepeated(entry, status.st_dev, status.st_ino);
  return true;
}

// By the file when there is one, else by the path.
void LogList::noteRepeated(const LogEntry& entry, dev_t device, ino_t inode) {
  const std::string name = inode == 0 ? entry.path : std::to_string(device) + ":" + std::to_string(inode);
  const size_t hash = std::hash<std::string>()(name + '\n' + entry.event + '\n' + entry.as);
  if (known_.size() < kMaxKnown ? known_.insert(hash).second : known_.count(hash) == 0) return;
  if (repeatedCount_++ == 0) firstRepeated_ = entry.path;
}

// False, with an entry that says why, when the folder cannot be read.
bool LogList::open(Folder folder, LogEntry& entry) {
  entry = {folder.path, folder.given.event, "", folder.given.as};
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

// True when there is an entry; an empty item has none, and a folder is opened.
bool LogList::readItem(const std::string& item, LogEntry& entry) {
  if (item.empty()) return false;
  entry = {"-:" + std::to_string(list_->number()), sources_.event, ""};
  if (item.size() > ListInput::kMaxItem) {
    entry.error = "the line is longer than 1 MiB";
  } else if (item.front() == '{') {
    return readObject(item, entry);
  } else if (item.find('\0') != std::string::npos) {
    entry.error = "the path holds a zero byte";
  } else {
    return visit(item, {sources_.event, sources_.as}, entry);
  }
  return true;
}

bool LogList::readObject(const std::string& item, LogEntry& entry) {
  const auto isTextOrNone = [](const Json::Value& value) { return value.isString() || value.isNull(); };
  Json::Value object;
  if (!ReadJsonObject(item, object) || PathOf(object).empty() || !isTextOrNone(object["event"]) ||
      !isTextOrNone(object["as"])) {
    entry.error = kNoItem;
    return true;
  }
  Given given{object["event"].asString(), object["as"].asString()};
  if (given.event.empty()) given.event = sources_.event;
  if (given.as.empty()) given.as = sources_.as;
  const std::string path = PathOf(object);
  if ((path + given.as).find('\0') == std::string::npos) return visit(path, given, entry);
  entry.error = "the path holds a zero byte";
  return true;
}
