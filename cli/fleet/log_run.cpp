#include "cli/fleet/log_run.h"

#include "cli/check/wrong_type.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/utf8.h"

std::string ValueOf(const TextMap& results, const std::string& key) {
  const auto found = results.find(key);
  return found == results.end() ? "" : found->second;
}

TextMap Analyze(const LogRun& run, RunObserver* observer) {
  if (!run.log.error.empty()) throw InputError(run.log.path, run.log.error);
  const LogFile file(run.log.path);
  TextMap results;
  for (const auto& [key, value] :
       AnalyzeOrThrow(file.at(run.log.as), {run.config, WrongTypeInRules}, run.log.event, observer)) {
    results[ValidUtf8(key)] = ValidUtf8(value);
  }
  return results;
}
