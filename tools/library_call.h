#ifndef TOOLS_LIBRARY_CALL_H
#define TOOLS_LIBRARY_CALL_H

#include <functional>
#include <map>
#include <string>

#include "analysis/run_observer.h"

// The library is built without exceptions: what it cannot survive ends the process. Here the program then ends with one
// line that says where.

// While it lives, an abort is blamed on what `where` says then: a file, or a place in one, and what was tried there.
class AbortBlame {
 public:
  explicit AbortBlame(std::function<std::string()> where);
  ~AbortBlame();
  AbortBlame(const AbortBlame&) = delete;
  AbortBlame& operator=(const AbortBlame&) = delete;
};

// Kestrix::analysis, told to `observer`, which may be null. Ends the program with one line when a value in the rule
// files has the wrong type.
std::map<std::string, std::string> AnalyzeOrEnd(const std::string& log, const std::string& configDir,
                                                const std::string& eventType, RunObserver* observer);

#endif  // TOOLS_LIBRARY_CALL_H
