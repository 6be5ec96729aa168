#include "cli/lsp/text_document.h"

#include <algorithm>
#include <utility>

#include "cli/output/utf8.h"

namespace {

constexpr size_t kFirstPairLength = 4;  // bytes of a character that takes two units of UTF-16

// The bytes of the character at the start of `text`, which is not empty.
size_t Step(std::string_view text) { return std::max<size_t>(CharacterLength(text), 1); }

size_t UnitsOf(size_t step, PositionEncoding encoding) {
  if (encoding == PositionEncoding::kUtf8) return step;
  return step >= kFirstPairLength ? 2 : 1;
}

}  // namespace

TextDocument::TextDocument(std::string text, PositionEncoding encoding) : text_(std::move(text)), encoding_(encoding) {
  findLines();
}

void TextDocument::findLines() {
  starts_ = {0};
  for (size_t i = 0; i < text_.size(); ++i) {
    const bool isPair = text_[i] == '\r' && i + 1 < text_.size() && text_[i + 1] == '\n';
    if ((text_[i] == '\n' || text_[i] == '\r') && !isPair) starts_.push_back(i + 1);
  }
}

// Without the line's end.
size_t TextDocument::lineEnd(size_t line) const {
  size_t end = line + 1 < starts_.size() ? starts_[line + 1] : text_.size();
  while (end > starts_[line] && (text_[end - 1] == '\n' || text_[end - 1] == '\r')) --end;
  return end;
}

size_t TextDocument::offsetOf(Position position) const {
  if (position.line >= starts_.size()) return text_.size();
  const size_t end = lineEnd(position.line);
  size_t offset = starts_[position.line];
  for (size_t units = 0; offset < end;) {
    const size_t step = Step(std::string_view(text_).substr(offset));
    units += UnitsOf(step, encoding_);
    if (units > position.character) break;
    offset += step;
  }
  return offset;
}

Position TextDocument::positionOf(size_t offset) const {
  offset = std::min(offset, text_.size());
  const auto next = std::upper_bound(starts_.begin(), starts_.end(), offset);
  Position position{static_cast<size_t>(next - starts_.begin()) - 1, 0};
  for (size_t i = starts_[position.line]; i < offset;) {
    const size_t step = Step(std::string_view(text_).substr(i));
    position.character += UnitsOf(step, encoding_);
    i += step;
  }
  return position;
}

void TextDocument::replace(Position begin, Position end, std::string_view text) {
  const size_t from = offsetOf(begin);
  const size_t to = std::max(offsetOf(end), from);
  text_.replace(from, to - from, text);
  findLines();
}
