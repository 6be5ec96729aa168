#include "entry/kestrix.h"

#include "entry/compiled_rules.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/log.h"

std::map<std::string, std::string> Kestrix::analysis(const std::string& logPath, const std::string& configDir,
                                                     const std::string& eventType) {
  return CompiledRules(configDir).analysis(logPath, eventType, nullptr);
}

void Kestrix::filtStack(std::map<std::string, std::string>& result) {
  const auto stack = result.find(kStackKey);
  if (stack == result.end() || stack->second.empty()) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "eventinfo empty or can't find %s", kStackKey);
    return;
  }
  KESTRIX_LOG(ANDROID_LOG_DEBUG, "start filt stack");
  StackUtil::FilterTrace(result, "");
}
