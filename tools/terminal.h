#ifndef TOOLS_TERMINAL_H
#define TOOLS_TERMINAL_H

#include <string>

// Whether standard output may carry colours: it is a terminal, and NO_COLOR is not set in the environment.
bool OutputTakesColours();

// A line of a log as a terminal should get it: UTF-8 without indentation, carriage return and control characters.
std::string LineForPeople(const std::string& line);

#endif  // TOOLS_TERMINAL_H
