#ifndef CLI_FLEET_LOG_LIST_H
#define CLI_FLEET_LOG_LIST_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

// A log that is to be analysed.
struct LogEntry {
  std::string path;
  std::string event;
  std::string error;  // why there is nothing to analyse, e.g. a folder that cannot be read; mostly empty
};

// The logs that a command line names: files, folders with all that lies in them, in byte order of the names, and, for
// "-", a list on standard input: a path on each line, or an object {"log": "<path>", "event": "<type>"}, whose event
// type may be left out. Reads ahead no further than one folder or one buffer.
class LogList {
 public:
  // `event` is for the logs that bring none of their own.
  LogList(std::vector<std::string> paths, std::string event);

  // kWait: nothing can be said before more of standard input can be read.
  enum class Next { kEntry, kWait, kEnd };
  Next next(LogEntry& entry);

 private:
  struct Folder {
    std::string path;
    std::string event;
    dev_t device;
    ino_t inode;
    std::vector<std::string> names;  // of what it holds, the next one last
  };

  bool visit(const std::string& path, const std::string& event, LogEntry& entry);
  bool open(Folder folder, LogEntry& entry);
  bool readLine(const std::string& line, LogEntry& entry);
  Next takeLine(std::string& line);

  std::vector<std::string> paths_;
  std::string event_;
  size_t nextPath_ = 0;
  std::vector<Folder> folders_;  // inside each other
  bool readsInput_ = false;
  std::string input_;      // of standard input
  size_t inputBegin_ = 0;  // of what is not yet used
  size_t inputLine_ = 0;
};

#endif  // CLI_FLEET_LOG_LIST_H
