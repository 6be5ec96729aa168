#ifndef ANALYSIS_LINE_FINDER_H
#define ANALYSIS_LINE_FINDER_H

#include <cstddef>
#include <optional>
#include <vector>

#include "analysis/rule_filter.h"
#include "util/line_reader.h"

// Iterates over the lines that RuleFilter cannot rule out, window by window.
class LineFinder {
 public:
  explicit LineFinder(LineReader& reader) : reader_(reader) {}

  // Moves `pos`, the beginning of a line, to the first line from there on that the filter does not rule out: true.
  // False when its window holds none; `pos` is then moved to the window's end. `pos` never goes back between two calls
  // unless forget() is called.
  bool next(size_t& pos, RuleFilter& filter);

  // Drops what was found: the filter has changed, or the search starts over at an earlier place.
  void forget();

  // The last line between `from` and `to` (beginnings of lines) that the filter takes for a possible match and for
  // which `isMatch(TextLine)` is true.
  template <typename Predicate>
  std::optional<TextLine> lastMatch(size_t from, size_t to, RuleFilter& filter, Predicate isMatch) {
    while (to > from && to <= reader_.size()) {
      size_t begin = to;
      std::vector<size_t> starts;
      filter.findMatches(reader_.linesBefore(to, from, begin), starts);
      for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
        const TextLine line = reader_.lineAt(begin + *start);
        if (isMatch(line)) return line;
      }
      to = begin;
    }
    return std::nullopt;
  }

 private:
  LineReader& reader_;
  std::vector<size_t> found_;  // beginnings of the lines found in the window
  size_t nextFound_ = 0;
  size_t windowEnd_ = 0;
};

#endif  // ANALYSIS_LINE_FINDER_H
