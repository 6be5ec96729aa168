#ifndef CLI_LIBRARY_SCRATCH_FILE_H
#define CLI_LIBRARY_SCRATCH_FILE_H

#include <string>
#include <string_view>

// A file for this process alone that is gone with the object. It lies in a folder that each process has for itself, and
// that another process removes when this one has ended, also when it was killed.
class ScratchFile {
 public:
  // Throws InputError when there can be none.
  ScratchFile();
  ~ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  // Throws InputError when it cannot be written.
  void append(std::string_view text);

  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int file_ = -1;
};

#endif  // CLI_LIBRARY_SCRATCH_FILE_H
