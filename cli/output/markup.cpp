#include "cli/output/markup.h"

#include "cli/output/terminal.h"

std::string EscapedForMarkup(std::string_view text) {
  std::string escaped;
  for (const char c : TextForPeople(text)) {
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '"') {
      escaped += "&quot;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}
