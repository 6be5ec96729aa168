#ifndef CLI_LIBRARY_INPUT_H
#define CLI_LIBRARY_INPUT_H

#include <sys/types.h>

#include <string>

#include "cli/output/input_error.h"

// The size in bytes of the regular file at `path`. Throws InputError unless it can be read.
off_t CheckReadableFile(const std::string& path);

// The size of the largest log that the library reads: "32 MiB".
std::string MaxLogSizeText();

// The path to hand to the library for the log at `path`. An absolute path that the library accepts stays as it is,
// since the rules compare it as text; any other is resolved. Throws InputError when the library could not read the log.
std::string CheckedLogPath(const std::string& path);

// The same for a log of any size: the library reads none of more than MaxLogSizeText(), and finds nothing in it.
std::string CheckedLogPathOfAnySize(const std::string& path);

// Throws InputError unless `configDir` is a directory that holds both rule files, and both are JSON.
void CheckRuleFiles(const std::string& configDir);

#endif  // CLI_LIBRARY_INPUT_H
