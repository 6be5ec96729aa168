#ifndef CLI_FLEET_LIST_INPUT_H
#define CLI_FLEET_LIST_INPUT_H

#include <cstddef>
#include <string>

// The items of a list on standard input: lines, or texts that end in a zero byte as `find -print0` writes them. What
// comes first, a line feed or a zero byte, tells which. Reads ahead no further than one buffer.
class ListInput {
 public:
  static constexpr size_t kMaxItem = 1024 * 1024;  // bytes

  // With `endsInZero` nothing has to be found out: every item ends in a zero byte.
  explicit ListInput(bool endsInZero);

  // kWait: nothing can be said before more of standard input can be read.
  enum class Next { kItem, kWait, kEnd };

  // Sets `item` to the next one without its end; one that is longer than kMaxItem is cut, but stays longer than that.
  // Throws InputError when standard input cannot be read, or is UTF-16.
  Next next(std::string& item);

  // Of the item, from 1.
  size_t number() const { return number_; }

 private:
  Next readMore();
  Next findKind();
  bool isUtf16(size_t firstEnd) const;

  std::string input_;
  size_t begin_ = 0;  // of what is not yet used
  size_t number_ = 0;
  char end_ = '\n';
  bool knowsKind_;
};

#endif  // CLI_FLEET_LIST_INPUT_H
