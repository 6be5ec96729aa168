#include "tools/terminal.h"

#include <unistd.h>

#include <cstdlib>

bool OutputTakesColours() {
  const char* noColour = std::getenv("NO_COLOR");
  return isatty(STDOUT_FILENO) != 0 && (noColour == nullptr || *noColour == '\0');
}
