#include "cli/check/findings.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "cli/output/utf8.h"

Finding& Findings::add(Code code, const JsonFile& file, Span span, std::string message) {
  return findings_.emplace_back(
      Finding{code, DescriptionOf(code).severity, &file, span, std::move(message), std::nullopt});
}

std::vector<Finding> Findings::sorted(const JsonFile& matchFile) const {
  std::vector<Finding> all = findings_;
  const auto key = [&matchFile](const Finding& f) {
    return std::make_tuple(f.file != &matchFile, f.span.begin, f.code);
  };
  std::stable_sort(all.begin(), all.end(), [&key](const Finding& a, const Finding& b) { return key(a) < key(b); });
  const auto isSame = [&key](const Finding& a, const Finding& b) { return key(a) == key(b); };
  all.erase(std::unique(all.begin(), all.end(), isSame), all.end());
  return all;
}

LineIndex::LineIndex(const std::string& text) : text_(text), starts_{0} {
  for (size_t pos = text.find('\n'); pos != std::string::npos; pos = text.find('\n', pos + 1)) {
    starts_.push_back(pos + 1);
  }
}

Place LineIndex::placeOf(size_t offset) const {
  const auto next = std::upper_bound(starts_.begin(), starts_.end(), offset);
  const size_t lineBegin = *std::prev(next);
  return {static_cast<size_t>(next - starts_.begin()), CharacterCount(text_.substr(lineBegin, offset - lineBegin)) + 1};
}

std::string_view LineIndex::line(size_t number) const {
  const size_t begin = starts_[number - 1];
  std::string_view line = text_.substr(begin, text_.find('\n', begin) - begin);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}
