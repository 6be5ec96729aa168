#include "tools/replay/log_run.h"

#include <android-base/properties.h>
#include <android/log.h>
#include <json/json.h>

#include <stdexcept>

#include "entry/observed_kestrix.h"
#include "tools/input.h"
#include "tools/rule_types.h"
#include "tools/utf8.h"

TextMap Analyze(const LogRun& run, RunObserver* observer) {
  if (!run.log.error.empty()) throw InputError(run.log.path, run.log.error);
  const std::string path = CheckedLogPath(run.log.path);
  try {
    TextMap results;
    for (const auto& [key, value] : ObservedKestrix::analysis(path, run.config, run.log.event, observer)) {
      results[ValidUtf8(key)] = ValidUtf8(value);
    }
    return results;
  } catch (const Json::Exception& error) {
    throw std::runtime_error(WrongTypeInRules(run.config, error.what()));
  } catch (const std::exception& error) {
    throw std::runtime_error(MatchRuleFile(run.config) + ": " + error.what());
  }
}

void PrepareLibrary(bool checkPath) {
  // Properties are the process's own here, not the device's.
  if (!checkPath) android::base::SetProperty("persist.sys.Kestrix.debug", "true");
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
}
