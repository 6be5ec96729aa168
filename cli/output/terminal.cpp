#include "cli/output/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "cli/output/utf8.h"

bool OutputTakesColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

std::string Painted(bool inColour, std::string_view colour, std::string_view text) {
  if (!inColour) return std::string(text);
  return "\x1b[" + std::string(colour) + "m" + std::string(text) + "\x1b[0m";
}

std::string TextForPeople(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7f'; })) return std::string(text);
  const std::string valid = ValidUtf8(text);
  std::string shown;
  for (size_t at = 0; at < valid.size();) {
    const bool isUsual = valid[at] == '\t' || valid[at] == '\n';
    const size_t control = isUsual ? 0 : ControlLength(std::string_view(valid).substr(at));
    shown += control > 0 ? '?' : valid[at];
    at += std::max<size_t>(control, 1);
  }
  return shown;
}

std::string LineForPeople(std::string_view line) {
  const size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return "";
  std::string text = TextForPeople(line.substr(first, line.find_last_not_of('\r') - first + 1));
  std::replace(text.begin(), text.end(), '\n', '?');
  return text;
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string Counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void PrintResult(const std::map<std::string, std::string>& result, std::ostream& out) {
  size_t width = 0;
  for (const auto& [key, value] : result) width = std::max(width, key.size());
  for (const auto& [key, value] : result) {
    if (value.find('\n') == std::string::npos) {
      out << std::left << std::setw(static_cast<int>(width)) << LineForPeople(key) << "  " << LineForPeople(value)
          << '\n';
      continue;
    }
    out << LineForPeople(key) << '\n';
    std::istringstream lines(value);
    for (std::string line; std::getline(lines, line);) out << "    " << LineForPeople(line) << '\n';
  }
}
