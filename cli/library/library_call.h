#ifndef CLI_LIBRARY_LIBRARY_CALL_H
#define CLI_LIBRARY_LIBRARY_CALL_H

#include <functional>
#include <map>
#include <string>

#include "analysis/run_observer.h"

// To be called once before: silences the library and, without `checkPath`, lets its path tests pass.
void PrepareLibrary(bool checkPath);

// Runs `call`, which enters the library. When the library comes upon rules over which it would end the device's
// process, the program ends with one line that begins with `where()`: a rule file, or a place in one and what was tried
// there.
void CallOrEnd(const std::string& configDir, const std::function<void()>& call, std::function<std::string()> where);

// Kestrix::analysis, told to `observer`, which may be null. Throws a std::exception, after which the process should not
// go on, for rules that the library stumbles over.
std::map<std::string, std::string> AnalyzeOrThrow(const std::string& log, const std::string& configDir,
                                                  const std::string& eventType, RunObserver* observer);

#endif  // CLI_LIBRARY_LIBRARY_CALL_H
