#ifndef CLI_LSP_TEXT_DOCUMENT_H
#define CLI_LSP_TEXT_DOCUMENT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// How the client counts within a line.
enum class PositionEncoding { kUtf8, kUtf16 };

struct Position {
  size_t line = 0;       // both from 0
  size_t character = 0;  // in units of the encoding
};

// A text that is being edited. Lines end in a line feed, a carriage return or both.
class TextDocument {
 public:
  TextDocument(std::string text, PositionEncoding encoding);

  const std::string& text() const { return text_; }

  // Positions behind the end of a line or of the text stand for that end.
  size_t offsetOf(Position position) const;
  Position positionOf(size_t offset) const;

  void replace(Position begin, Position end, std::string_view text);

 private:
  void findLines();
  size_t lineEnd(size_t line) const;

  std::string text_;
  PositionEncoding encoding_;
  std::vector<size_t> starts_;
};

#endif  // CLI_LSP_TEXT_DOCUMENT_H
