#ifndef CLI_FLEET_LOG_LIST_H
#define CLI_FLEET_LOG_LIST_H

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "cli/fleet/list_input.h"

// A log that is to be analysed.
struct LogEntry {
  std::string path;
  std::string event;
  std::string error;    // why there is nothing to analyse, e.g. a folder that cannot be read; mostly empty
  std::string as = {};  // where on the device it is to lie, for path tests; mostly empty
};

// Where logs are looked for.
struct LogSources {
  std::vector<std::string> paths;  // files, folders with all that lies in them, and "-" for a list on standard input
  std::string event = {};          // for the logs that bring none of their own; may be empty
  std::string as = {};             // likewise; a path, or a folder that ends in "/"
  bool listEndsInZero = false;     // the items of the list end in a zero byte, whatever comes first

  bool hasList() const { return std::find(paths.begin(), paths.end(), "-") != paths.end(); }
};

// `path` with every byte but printable ASCII, and "%" itself, written "%FF": for one that is no UTF-8, which JSON
// cannot hold.
std::string PercentEncoded(std::string_view path);

// The logs that a command line names: files, folders with all that lies in them, in byte order of the names, and, for
// "-", a list on standard input: a path on each line, or an object {"log": "<path>", "event": "<type>", "as":
// "<path>"}, of which the last two may be left out. A line of `kestrix batch` is such an object, too. Reads ahead no
// further than one folder or one buffer.
class LogList {
 public:
  // Throws InputError when standard input is to be read twice.
  explicit LogList(LogSources sources);

  // kWait: nothing can be said before more of standard input can be read.
  enum class Next { kEntry, kWait, kEnd };

  // A folder of the command line that holds no log is an entry with an error. Throws InputError for a list that cannot
  // be read.
  Next next(LogEntry& entry);

  // The entries so far.
  size_t count() const { return count_; }

  // How many of the first million logs have come up once more, and the first one that did.
  size_t repeatedCount() const { return repeatedCount_; }
  const std::string& firstRepeated() const { return firstRepeated_; }

 private:
  // What is said of a log, or of all logs in a folder.
  struct Given {
    std::string event;
    std::string as;
  };

  struct Folder {
    std::string path;
    Given given;
    dev_t device;
    ino_t inode;
    std::vector<std::string> names;  // of what it holds, the next one last
  };

  Next find(LogEntry& entry);
  bool takeFromFolder(LogEntry& entry);
  bool takePath(LogEntry& entry);
  bool visit(const std::string& path, const Given& given, LogEntry& entry);
  bool open(Folder folder, LogEntry& entry);
  bool readItem(const std::string& item, LogEntry& entry);
  bool readObject(const std::string& item, LogEntry& entry);
  void noteRepeated(const LogEntry& entry, dev_t device, ino_t inode);

  LogSources sources_;
  size_t nextPath_ = 0;
  std::vector<Folder> folders_;  // inside each other
  size_t countAtPath_ = 0;       // entries before the current path of the command line
  bool isInFolder_ = false;      // of the command line
  std::optional<ListInput> list_;
  size_t count_ = 0;
  std::unordered_set<size_t> known_;  // hashes
  size_t repeatedCount_ = 0;
  std::string firstRepeated_;
};

#endif  // CLI_FLEET_LOG_LIST_H
