#ifndef ENTRY_OBSERVED_KESTRIX_H
#define ENTRY_OBSERVED_KESTRIX_H

#include <map>
#include <string>

#include "analysis/run_observer.h"

// Kestrix for somebody who wants to know why: not exported from the shared library.
class ObservedKestrix {
 public:
  // Kestrix::analysis itself; `observer`, which may be null, is told what is decided on the way.
  static std::map<std::string, std::string> analysis(const std::string& logPath, const std::string& configDir,
                                                     const std::string& eventType, RunObserver* observer);
};

#endif  // ENTRY_OBSERVED_KESTRIX_H
