#ifndef CLI_LIVE_FILE_WATCH_H
#define CLI_LIVE_FILE_WATCH_H

#include <map>
#include <set>
#include <string>
#include <vector>

// Notices that files were saved: written and closed, or replaced by another of their name, as many editors do it. So
// the folders are watched, those that links lead to included. Serves one thread.
class FileWatch {
 public:
  // Throws InputError when a folder cannot be watched.
  explicit FileWatch(const std::vector<std::string>& files);
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  // Waits until one of the files was saved, and for the end of what is saved together. False when `stopFd` can be read.
  bool wait(int stopFd);

 private:
  void watch(const std::string& path);
  bool takeEvents();

  int fd_;
  std::map<int, std::set<std::string>> names_;  // watched folder -> names of files in it
};

#endif  // CLI_LIVE_FILE_WATCH_H
