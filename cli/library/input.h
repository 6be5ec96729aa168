#ifndef CLI_LIBRARY_INPUT_H
#define CLI_LIBRARY_INPUT_H

#include <sys/types.h>

#include <stdexcept>
#include <string>

// Input that a command cannot work with. The text is one line that names the file first; a file whose name holds a zero
// byte cuts what() there.
class InputError : public std::runtime_error {
 public:
  InputError(const std::string& file, const std::string& reason)
      : std::runtime_error(file + ": " + reason), file_(file), reason_(reason) {}

  const std::string& file() const { return file_; }
  const std::string& reason() const { return reason_; }

 private:
  std::string file_;
  std::string reason_;
};

// The size in bytes of the regular file at `path`. Throws InputError unless it can be read.
off_t CheckReadableFile(const std::string& path);

// The path to hand to the library for the log at `path`. An absolute path that the library accepts stays as it is,
// since the rules compare it as text; any other is resolved. Throws InputError when the library could not read the log.
std::string CheckedLogPath(const std::string& path);

// The same for a log of any size: the library reads none of more than 32 MiB, and finds nothing in it.
std::string CheckedLogPathOfAnySize(const std::string& path);

// Throws InputError unless `configDir` is a directory that holds both rule files, and both are JSON.
void CheckRuleFiles(const std::string& configDir);

#endif  // CLI_LIBRARY_INPUT_H
