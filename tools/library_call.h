#ifndef TOOLS_LIBRARY_CALL_H
#define TOOLS_LIBRARY_CALL_H

#include <functional>
#include <map>
#include <string>

#include "analysis/run_observer.h"

// The library is built without exceptions: what it cannot survive ends the process. Here it is said where.

// To be called once before: silences the library and, without `checkPath`, lets its path tests pass.
void PrepareLibrary(bool checkPath);

// While it lives, the program ends on an abort with one line that blames it on what `where` says then: a file, or a
// place in one and what was tried there.
class AbortBlame {
 public:
  explicit AbortBlame(std::function<std::string()> where);
  ~AbortBlame();
  AbortBlame(const AbortBlame&) = delete;
  AbortBlame& operator=(const AbortBlame&) = delete;
};

// Kestrix::analysis, told to `observer`, which may be null. Throws a std::exception, after which the process should not
// go on, for rules that the library stumbles over.
std::map<std::string, std::string> AnalyzeOrThrow(const std::string& log, const std::string& configDir,
                                                  const std::string& eventType, RunObserver* observer);

// The same, but the program ends with one line instead.
std::map<std::string, std::string> AnalyzeOrEnd(const std::string& log, const std::string& configDir,
                                                const std::string& eventType, RunObserver* observer);

#endif  // TOOLS_LIBRARY_CALL_H
