#include "cli/output/lines.h"

#include <iterator>

#include "cli/output/utf8.h"

namespace {

constexpr size_t kMarkDistance = 1024;  // bytes

std::string_view WithoutReturn(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

}  // namespace

std::string_view TakeLine(std::string_view& text) {
  const size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return WithoutReturn(line);
}

std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  ForEachLine(text, [&lines](size_t, std::string_view line) { lines.emplace_back(WithoutReturn(line)); });
  return lines;
}

LineIndex::LineIndex(std::string_view text) : text_(text), starts_{0} {
  for (size_t pos = text.find('\n'); pos != std::string_view::npos; pos = text.find('\n', pos + 1)) {
    starts_.push_back(pos + 1);
  }
  for (size_t i = 0; i < starts_.size(); ++i) {
    const size_t end = i + 1 < starts_.size() ? starts_[i + 1] : text.size();
    size_t column = 1;
    marks_.push_back({starts_[i], column});
    for (size_t pos = starts_[i]; end - starts_[i] > kMarkDistance && pos < end; ++column) {
      if (pos - marks_.back().offset >= kMarkDistance) marks_.push_back({pos, column});
      pos += std::max<size_t>(CharacterLength(text.substr(pos, end - pos)), 1);
    }
  }
}

TextPlace LineIndex::placeOf(size_t offset) const {
  const auto next = std::upper_bound(starts_.begin(), starts_.end(), offset);
  const Mark mark = *std::prev(std::upper_bound(marks_.begin(), marks_.end(), offset,
                                                [](size_t place, const Mark& known) { return place < known.offset; }));
  return {static_cast<size_t>(next - starts_.begin()),
          mark.column + CharacterCount(text_.substr(mark.offset, offset - mark.offset))};
}

std::string_view LineIndex::line(size_t number) const {
  const size_t begin = starts_[number - 1];
  return WithoutReturn(text_.substr(begin, text_.find('\n', begin) - begin));
}
