#include "cli/library/library_call.h"

#include <android-base/properties.h>
#include <android/log.h>
#include <json/json.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <stdexcept>
#include <utility>

#include "cli/output/exit_status.h"
#include "cli/output/output_file.h"
#include "cli/output/terminal.h"
#include "rules/rule_syntax.h"

namespace {

std::function<std::string()> abortPlace;

// Ends at once: what the library held when it was left cannot be cleaned up.
[[noreturn]] void EndWith(const std::string& reason) {
  WriteAll(STDERR_FILENO, "kestrix: " + LineForPeople(reason) + "\n");
  _exit(kBadInput);
}

// Not async-signal-safe, but std::regex raises SIGABRT synchronously, on this thread and never inside a call of the
// observer: what the place is made from is whole.
void OnAbort(int /*signal*/) { EndWith(abortPlace() + ": " + kAnalysisAborted); }

}  // namespace

void PrepareLibrary(bool checkPath) {
  // Properties are the process's own here, not the device's.
  if (!checkPath) android::base::SetProperty(kDebugProperty, "true");
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
}

void CallOrEnd(const RuleDir& rules, const std::function<void()>& call, std::function<std::string()> where) {
  abortPlace = std::move(where);
  std::signal(SIGABRT, OnAbort);
  try {
    call();
  } catch (const Json::Exception& error) {
    EndWith(rules.wordWrongType(rules.path, error.what()));
  } catch (const std::exception& error) {
    EndWith(abortPlace() + ": " + error.what());
  }
  std::signal(SIGABRT, SIG_DFL);
}

CompiledRules& KeptRules(const std::string& configDir) {
  static std::map<std::string, CompiledRules> kept;
  const auto [rules, isNew] = kept.try_emplace(configDir, configDir);
  if (isNew) {
    for (auto& [dir, compiled] : kept) compiled.keep(kKeptRulesBytes / kept.size());
  }
  return rules->second;
}

std::map<std::string, std::string> AnalyzeOrThrow(const AnalyzedLog& log, const RuleDir& rules,
                                                  const std::string& eventType, RunObserver* observer) {
  try {
    return KeptRules(rules.path).analysis(log, eventType, observer);
  } catch (const Json::Exception& error) {
    throw std::runtime_error(rules.wordWrongType(rules.path, error.what()));
  } catch (const std::exception& error) {
    throw std::runtime_error(MatchRuleFile(rules.path) + ": " + error.what());
  }
}
