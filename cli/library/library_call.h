#ifndef CLI_LIBRARY_LIBRARY_CALL_H
#define CLI_LIBRARY_LIBRARY_CALL_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "analysis/run_observer.h"
#include "entry/compiled_rules.h"

// To be called once before: silences the library and, without `checkPath`, lets its path tests pass.
void PrepareLibrary(bool checkPath);

// The error message for rules in which a value has the wrong type; `reason` is what the JSON library says of it.
using WordWrongType = std::string (*)(const std::string& configDir, const std::string& reason);

// A directory of rule files, and who words what is wrong in them.
struct RuleDir {
  const std::string& path;
  WordWrongType wordWrongType;
};

// The reason when the standard library ends the process: it aborts instead of throwing in code without exceptions.
inline constexpr char kAnalysisAborted[] = "the analysis was aborted, most likely by an invalid regular expression";

// Runs `call`, which enters the library. If the library throws or aborts, where a device process would end, the program
// prints "`where()`: reason" and ends with status 2; `where` names a rule file, or a place in one and what was tried
// there.
void CallOrEnd(const RuleDir& rules, const std::function<void()>& call, std::function<std::string()> where);

// What a process keeps of rules between two calls of AnalyzeOrThrow, about.
inline constexpr size_t kKeptRulesBytes = 64 * 1024 * 1024;

// The rules of a directory, compiled once for all logs of the process within that limit; files that have changed are
// read again.
CompiledRules& KeptRules(const std::string& configDir);

// Kestrix::analysis, reported to `observer`, which may be null. Rules are compiled by the first call and kept for the
// next; files that have changed are read again. Throws a std::exception, after which the process should not go on, for
// rules that the library stumbles over.
std::map<std::string, std::string> AnalyzeOrThrow(const AnalyzedLog& log, const RuleDir& rules,
                                                  const std::string& eventType, RunObserver* observer);

#endif  // CLI_LIBRARY_LIBRARY_CALL_H
