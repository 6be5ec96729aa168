#include "entry/kestrix.h"

#include <unistd.h>

#include <list>

#include "analysis/analysis.h"
#include "entry/observed_kestrix.h"
#include "rules/piled_frame.h"
#include "rules/rule.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/file_util.h"
#include "util/log.h"

std::map<std::string, std::string> Kestrix::analysis(const std::string& logPath, const std::string& configDir,
                                                     const std::string& eventType) {
  return ObservedKestrix::analysis(logPath, configDir, eventType, nullptr);
}

std::map<std::string, std::string> ObservedKestrix::analysis(const std::string& logPath, const std::string& configDir,
                                                             const std::string& eventType, RunObserver* observer) {
  std::map<std::string, std::string> result;
  std::string realDir;
  if (!FileUtil::PathToRealPath(configDir, realDir)) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "config %s isn't real path.", configDir.c_str());
    return result;
  }
  Rule rule(logPath, realDir, eventType);
  rule.parseRule();
  const std::list<AssembleEntry> entries = rule.getAssembleRule();
  FrameStore frames(rule.getPiledFrames(), entries, observer != nullptr);
  for (const AssembleEntry& entry : entries) {
    FrameStore::Frame& built = frames.begin(entry.featureId);
    FeatureFrame& frame = built.frame;
    Analysis run(getpid(), eventType, &frame, entry.params);
    if (observer != nullptr) observer->onRun(entry.featureId, frame, run);
    run.observe(observer);
    run.keepNeededRecords();
    run.setRulesLeftOut(built.leftOut);
    if (run.analysisLog()) result.insert(run.getResult().begin(), run.getResult().end());
    frames.end(entry.featureId);
  }
  if (observer != nullptr) observer->onMerged(result);
  Kestrix::filtStack(result);
  return result;
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
