#ifndef CLI_FLEET_UNFINISHED_OUTPUT_H
#define CLI_FLEET_UNFINISHED_OUTPUT_H

#include <cstddef>
#include <fstream>
#include <string>

// A file of results that an earlier run of the same logs has left, to be gone on with at its end. The lines that are
// there are held against the logs one after the other, so that no result comes to stand under another log's path.
class UnfinishedOutput {
 public:
  // Makes the file when there is none. Throws InputError when it cannot be written, or another run is writing it.
  explicit UnfinishedOutput(const std::string& path);
  ~UnfinishedOutput();
  UnfinishedOutput(const UnfinishedOutput&) = delete;
  UnfinishedOutput& operator=(const UnfinishedOutput&) = delete;

  // True when the next log has its line already, which begins with `head`. At the first log without one, what is left
  // of a last line without its end is cut off. Throws InputError when the line is of another log.
  bool take(const std::string& head);

  // The same for a log of unknown event type, which may have several lines. When no line of another log follows they
  // may not be all of them: they are cut off, too.
  bool takeAll(const std::string& head);

  // After the last log. Throws InputError when there are lines for more.
  void finish();

  // Whether a line that was taken has an "error".
  bool hasErrors() const { return hasErrors_; }

  // Where further lines go.
  int file() const { return file_; }

 private:
  bool peek();
  void cut(size_t size);

  std::string path_;
  int file_ = -1;
  std::ifstream lines_;
  std::string line_;
  size_t number_ = 0;
  size_t whole_ = 0;      // bytes of the lines that were taken
  bool hasLine_ = false;  // that is not taken yet
  bool isAtEnd_ = false;
  bool hasErrors_ = false;
};

#endif  // CLI_FLEET_UNFINISHED_OUTPUT_H
