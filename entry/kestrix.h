#ifndef ENTRY_KESTRIX_H
#define ENTRY_KESTRIX_H

#include <map>
#include <string>

#include "util/export.h"

// The library's entry. Calls share no state and may run on several threads at once; rule files are read afresh by each
// call. Failures are reported by an empty map and by log lines under the tag "Kestrix". The library is built without
// exception support: on the device an invalid regular expression in a rule file ends the process.
class KESTRIX_EXPORT Kestrix {
 public:
  // Analyses one log file by the rules for `eventType` in `configDir`, the directory of "match_rule.json" and
  // "assemble_rule.json", and returns the results of all its features, the stack filtered. Of two features that give
  // the same key the one with the higher priority wins. Empty when nothing was found or `configDir` does not exist.
  static std::map<std::string, std::string> analysis(const std::string& logPath, const std::string& configDir,
                                                     const std::string& eventType);

  // Replaces the raw trace under "STACK" with its filtered form of at most 30 lines, separated by "\r\n", sets
  // "FINGERPRINT" to its SHA-256 and, where they are absent, "FST_FRAME", "SEC_FRAME" and "LAST_FRAME" to its top
  // frames. A map without a "STACK" value stays as it is.
  static void filtStack(std::map<std::string, std::string>& result);
};

#endif  // ENTRY_KESTRIX_H
