#ifndef TOOLS_TERMINAL_H
#define TOOLS_TERMINAL_H

// Whether standard output may carry colours: it is a terminal, and NO_COLOR is not set in the environment.
bool OutputTakesColours();

#endif  // TOOLS_TERMINAL_H
