#include "cli/library/library_call.h"

#include <android-base/properties.h>
#include <android/log.h>
#include <json/json.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

#include "cli/check/type_fault.h"
#include "cli/commands/commands.h"
#include "cli/library/input.h"
#include "entry/observed_kestrix.h"
#include "rules/rule_syntax.h"

namespace {

std::function<std::string()> abortPlace;

// Ends at once: what the library held when it was left cannot be cleaned up.
[[noreturn]] void EndWith(const std::string& reason) {
  for (const char* part : {"kestrix: ", reason.c_str(), "\n"}) {
    if (write(STDERR_FILENO, part, strlen(part)) < 0) break;
  }
  _exit(kBadInput);
}

// Where the standard library aborts instead of throwing, it does so on this thread and between the calls of an
// observer: what the place is made from is whole.
void OnAbort(int /*signal*/) { EndWith(abortPlace() + ": " + kAnalysisAborted); }

}  // namespace

void PrepareLibrary(bool checkPath) {
  // Properties are the process's own here, not the device's.
  if (!checkPath) android::base::SetProperty(kDebugProperty, "true");
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
}

void CallOrEnd(const std::string& configDir, const std::function<void()>& call, std::function<std::string()> where) {
  abortPlace = std::move(where);
  std::signal(SIGABRT, OnAbort);
  try {
    call();
  } catch (const Json::Exception& error) {
    EndWith(WrongTypeInRules(configDir, error.what()));
  } catch (const std::exception& error) {
    EndWith(abortPlace() + ": " + error.what());
  }
  std::signal(SIGABRT, SIG_DFL);
}

std::map<std::string, std::string> AnalyzeOrThrow(const std::string& log, const std::string& configDir,
                                                  const std::string& eventType, RunObserver* observer) {
  try {
    return ObservedKestrix::analysis(log, configDir, eventType, observer);
  } catch (const Json::Exception& error) {
    throw std::runtime_error(WrongTypeInRules(configDir, error.what()));
  } catch (const std::exception& error) {
    throw std::runtime_error(MatchRuleFile(configDir) + ": " + error.what());
  }
}
