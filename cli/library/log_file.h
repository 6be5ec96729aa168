#ifndef CLI_LIBRARY_LOG_FILE_H
#define CLI_LIBRARY_LOG_FILE_H

#include <memory>
#include <string>

#include "entry/compiled_rules.h"

class ScratchFile;

// A log as the library can read it: a regular file at a path that it accepts. Logs that are compressed by gzip or zstd,
// as their first bytes show, and the one on standard input are brought there in a file that is gone with the object, or
// with the process.
class LogFile {
 public:
  // Throws InputError when the log cannot be read, or is larger than the library reads; of a log that is not compressed
  // only with `isLimited`. No more than that is ever decompressed.
  explicit LogFile(const std::string& path, bool isLimited = true) : LogFile(path, path, isLimited) {}
  ~LogFile();
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // The log that a command line names: "-" is standard input.
  static LogFile ofArgument(const std::string& argument, bool isLimited = true);

  const std::string& path() const { return path_; }

  // The log of a call; with `as`, as if it lay at that path of the device.
  AnalyzedLog at(const std::string& as) const { return as.empty() ? AnalyzedLog(path_) : AnalyzedLog(as, path_); }

 private:
  // No `path`: standard input.
  LogFile(const std::string& name, const std::string& path, bool isLimited);

  std::unique_ptr<ScratchFile> scratch_;
  std::string path_;
};

// Throws InputError unless the log that a command line names lies somewhere as the device would have it, so that path
// tests can be applied to where that is.
void CheckLogPlace(const std::string& argument);

// The path of the device for a log that is to be analysed `as` if it lay there: `as` itself or, where that ends in "/",
// the name of the log in that folder, as it was before compression. Throws InputError when no log can lie there.
std::string DevicePath(const std::string& as, const std::string& log);

#endif  // CLI_LIBRARY_LOG_FILE_H
