#ifndef CLI_FLEET_SPILL_FILE_H
#define CLI_FLEET_SPILL_FILE_H

#include <cstddef>
#include <string>
#include <string_view>

// Takes what memory should not hold: a file in the folder for temporary files, without a name, so that it is gone with
// the process. It is made when it is first needed.
class SpillFile {
 public:
  struct Place {
    size_t offset = 0;
    size_t size = 0;
  };

  SpillFile() = default;
  ~SpillFile();
  SpillFile(const SpillFile&) = delete;
  SpillFile& operator=(const SpillFile&) = delete;

  // False when the file cannot be made or is full; errno says why.
  bool append(std::string_view bytes, Place& place);

  // Throws std::system_error when it cannot be read.
  std::string read(Place place) const;

  size_t size() const { return size_; }

  // Drops all content.
  void clear();

 private:
  int file_ = -1;
  size_t size_ = 0;
};

#endif  // CLI_FLEET_SPILL_FILE_H
