#ifndef CLI_FLEET_LINE_INPUT_H
#define CLI_FLEET_LINE_INPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Throws InputError where standard input, "-", is there twice.
void CheckStandardInput(const std::vector<std::string>& files);

// The lines of a file, or of standard input, of any number and through one buffer.
class LineInput {
 public:
  static constexpr size_t kMaxLine = 64 * 1024 * 1024;  // bytes; a longer one comes in parts

  // "-" stands for standard input. Throws InputError when it cannot be read.
  explicit LineInput(const std::string& path);
  ~LineInput();
  LineInput(const LineInput&) = delete;
  LineInput& operator=(const LineInput&) = delete;

  // Sets `line` to the next one without its line feed, good until the next call. False at the end. Throws InputError.
  bool next(std::string_view& line);

  // Of the line, from 1.
  size_t number() const { return number_; }

  // How messages call the input.
  const std::string& name() const { return name_; }

 private:
  bool readMore();

  std::string name_;
  int file_;
  std::string buffer_;
  size_t begin_ = 0;  // of what is not yet used
  size_t end_ = 0;    // of what was read
  size_t number_ = 0;
};

#endif  // CLI_FLEET_LINE_INPUT_H
