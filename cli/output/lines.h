#ifndef CLI_OUTPUT_LINES_H
#define CLI_OUTPUT_LINES_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Calls `visit(number, line)` for each line of `text`, numbered from 1 and without its line feed, until it returns
// true. A line feed at the end of the text begins no further line.
template <typename Visit>
void UntilLine(std::string_view text, Visit visit) {
  for (size_t number = 1; !text.empty(); ++number) {
    const size_t end = std::min(text.find('\n'), text.size());
    if (visit(number, text.substr(0, end))) return;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

// The same for all lines.
template <typename Visit>
void ForEachLine(std::string_view text, Visit visit) {
  UntilLine(text, [&visit](size_t number, std::string_view line) {
    visit(number, line);
    return false;
  });
}

// Takes the first line off `text` and returns it without its line end.
std::string_view TakeLine(std::string_view& text);

// The lines, without carriage returns either.
std::vector<std::string> LinesOf(std::string_view text);

// Where a byte of a text stands. A column counts characters, a tab as one; a byte that is not UTF-8 counts as one too.
struct TextPlace {
  size_t line;  // both from 1
  size_t column;
};

// Finds lines by their numbers, and bytes by their lines. The text has to live as long.
class LineIndex {
 public:
  explicit LineIndex(std::string_view text);

  TextPlace placeOf(size_t offset) const;

  // The line of that number without its line end.
  std::string_view line(size_t number) const;

  // The offset of its first byte.
  size_t begin(size_t number) const { return starts_[number - 1]; }

 private:
  // A place whose column is known; some are kept in long lines, so that nobody counts those from their beginning.
  struct Mark {
    size_t offset;
    size_t column;
  };

  std::string_view text_;
  std::vector<size_t> starts_;
  std::vector<Mark> marks_;
};

#endif  // CLI_OUTPUT_LINES_H
