#include "cli/output/markup.h"

#include "cli/output/utf8.h"

std::string EscapedForMarkup(std::string_view text) {
  std::string escaped;
  for (const char c : ValidUtf8(text)) {
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else {
      escaped += static_cast<unsigned char>(c) < ' ' && c != '\t' && c != '\n' ? '?' : c;
    }
  }
  return escaped;
}
