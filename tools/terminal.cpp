#include "tools/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "tools/utf8.h"

bool OutputTakesColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}

std::string LineForPeople(const std::string& line) {
  const size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  std::string text = ValidUtf8(line.substr(first, line.find_last_not_of('\r') - first + 1));
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c != '\t' && (c < ' ' || c == 0x7f); }, '?');
  return text;
}
