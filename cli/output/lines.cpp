#include "cli/output/lines.h"

#include <iterator>

#include "cli/output/utf8.h"

namespace {

std::string_view WithoutReturn(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  ForEachLine(text, [&lines](size_t, std::string_view line) { lines.emplace_back(WithoutReturn(line)); });
  return lines;
}

LineIndex::LineIndex(std::string_view text) : text_(text), starts_{0} {
  for (size_t pos = text.find('\n'); pos != std::string_view::npos; pos = text.find('\n', pos + 1)) {
    starts_.push_back(pos + 1);
  }
}

TextPlace LineIndex::placeOf(size_t offset) const {
  const auto next = std::upper_bound(starts_.begin(), starts_.end(), offset);
  const size_t lineBegin = *std::prev(next);
  return {static_cast<size_t>(next - starts_.begin()), CharacterCount(text_.substr(lineBegin, offset - lineBegin)) + 1};
}

std::string_view LineIndex::line(size_t number) const {
  const size_t begin = starts_[number - 1];
  return WithoutReturn(text_.substr(begin, text_.find('\n', begin) - begin));
}
