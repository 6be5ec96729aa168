#ifndef ANALYSIS_LINE_FINDER_H
#define ANALYSIS_LINE_FINDER_H

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "analysis/rule_filter.h"

// A line of a text, without its line feed.
struct TextLine {
  size_t begin = 0;
  size_t end = 0;
  size_t next = 0;  // beginning of the next line, or the end of the text

  bool hasLineFeed() const { return next > end; }
};

// Where next: finds the lines of a log that are worth evaluating, window by window.
class LineFinder {
 public:
  explicit LineFinder(std::string_view text) : text_(text) {}

  // The line that begins at `begin`, which is below the text's size.
  TextLine lineAt(size_t begin) const;

  // The beginning of the first line from `pos` on that the filter does not leave out; the text's size when there is
  // none. `pos` is the beginning of a line and never goes back unless forget() is called.
  size_t next(size_t pos, RuleFilter& filter);

  // Drops what was found: the filter has changed, or the search starts over at an earlier place.
  void forget();

  // The last line between `from` and `to` (beginnings of lines) that the filter takes for a possible match and for
  // which `isMatch(TextLine)` is true.
  template <typename Predicate>
  std::optional<TextLine> lastMatch(size_t from, size_t to, RuleFilter& filter, Predicate isMatch) {
    while (to > from) {
      const size_t begin = windowBefore(from, to);
      std::vector<size_t> starts;
      filter.findMatches(text_.substr(begin, to - begin), starts);
      for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
        const TextLine line = lineAt(begin + *start);
        if (isMatch(line)) return line;
      }
      to = begin;
    }
    return std::nullopt;
  }

 private:
  size_t windowBefore(size_t from, size_t to) const;

  std::string_view text_;
  std::vector<size_t> found_;  // beginnings of the lines found in the window
  size_t nextFound_ = 0;
  size_t windowEnd_ = 0;
};

#endif  // ANALYSIS_LINE_FINDER_H
