#ifndef UTIL_FILE_UTIL_H
#define UTIL_FILE_UTIL_H

#include <sstream>
#include <string>

#include "util/export.h"

// Path checks, whole-file reading and the cutting of a stack trace out of a loaded log. Paths are handed to the C
// library unchanged. No file larger than 33,554,432 bytes (32 MiB) is read. Nothing is logged; the functions keep no
// state.
class KESTRIX_EXPORT FileUtil {
 public:
  // True when something exists at `path`, of whatever kind.
  static bool FileExists(const std::string& path);

  // Guard against path traversal: false when `path` holds "./" (and so "../") anywhere.
  static bool IsLegalPath(const std::string& path);

  // Resolves links and relative steps of a `path` of 1 to 4095 bytes into `realPath`, which stays untouched when the
  // path cannot be resolved.
  static bool PathToRealPath(const std::string& path, std::string& realPath);

  // Replaces `content` with the whole file; untouched on failure.
  static bool LoadStringFromFile(const std::string& path, std::string& content);

  // The path that an open descriptor was opened with. Empty for descriptors below 1 and ones that are not open.
  static std::string GetFileNameByFd(int fd);

  // LoadStringFromFile for the path behind `fd`.
  static bool LoadStringFromFdToFile(int fd, std::string& content);

  // Replaces `content` with the whole file behind `fd`, read from its beginning in one call. An empty file leaves
  // `content` as it was and is a success. A read that comes short is a failure and leaves `content` partly overwritten.
  // A descriptor that cannot seek is read by its path instead.
  static bool LoadStringFromFd(int fd, std::string& content);

  // Opens a legal path for reading. The descriptor belongs to the caller; -1 on failure. A pipe is opened whether
  // anyone writes to it or not; reading one waits only while somebody may still write.
  static int GetFileFd(const std::string& path);

  // Makes the whole file the content of `buffer`, read position at 0; `buffer` stays untouched on failure.
  static bool ReadFileBuff(const std::string& path, std::stringstream& buffer);

  // Appends to `trace` what `frameRegex` matches in each line of one stack trace, every match followed by a line feed.
  // The trace is searched from byte `offset` of `buffer` and starts at the first line that matches `startRegex`
  // (`frameRegex` when that is empty). It ends at the first empty line, at the line after four non-matching ones in a
  // row, or after 200 lines, counted from `offset`. Lines over 2048 bytes are passed over. An invalid expression raises
  // std::regex_error when it is first applied to a line.
  static void GetTrace(std::stringstream& buffer, int offset, const std::string& frameRegex, std::string& trace,
                       std::string startRegex);
};

#endif  // UTIL_FILE_UTIL_H
