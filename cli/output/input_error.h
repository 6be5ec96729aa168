#ifndef CLI_OUTPUT_INPUT_ERROR_H
#define CLI_OUTPUT_INPUT_ERROR_H

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

#endif  // CLI_OUTPUT_INPUT_ERROR_H
