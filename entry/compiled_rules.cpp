#include "entry/compiled_rules.h"

#include <unistd.h>

#include <list>
#include <utility>

#include "analysis/analysis.h"
#include "entry/kestrix.h"
#include "entry/shared_log.h"
#include "rules/piled_frame.h"
#include "rules/rule.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"
#include "util/log.h"

namespace {

constexpr size_t kMaxWhileRunning = 64 * 1024 * 1024;  // bytes of what the features of one call share

}  // namespace

CompiledRules::CompiledRules(std::string configDir) : configDir_(std::move(configDir)) {}

void CompiledRules::keep(size_t bytes) {
  kept_ = bytes;
  cache_.serveManyLogs();
}

std::map<std::string, std::string> CompiledRules::analysis(const AnalyzedLog& log, const std::string& eventType,
                                                           RunObserver* observer) {
  std::map<std::string, std::string> result;
  std::string realDir;
  if (!FileUtil::PathToRealPath(configDir_, realDir)) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "config %s isn't real path.", configDir_.c_str());
    return result;
  }
  read(realDir);
  Rule rule(log.path, realDir, eventType);
  rule.assumeLog(log.standIn);
  rule.parseRule(*match_, *assemble_);
  if (memory() > kept_) {
    match_.reset();
    assemble_.reset();
  }
  const std::list<AssembleEntry> entries = rule.getAssembleRule();
  FrameStore frames(rule.getPiledFrames(), entries, observer != nullptr);
  SharedLog shared(rule.getPiledFrames(), entries);
  for (const AssembleEntry& entry : entries) {
    FrameStore::Frame& built = frames.begin(entry.featureId);
    FeatureFrame& frame = built.frame;
    Analysis run(getpid(), eventType, &frame, entry.params);
    run.use(cache_);
    if (observer != nullptr) observer->onRun(entry.featureId, frame, run);
    run.observe(observer);
    run.keepNeededRecords();
    run.setRulesLeftOut(built.leftOut);
    if (observer == nullptr) shared.join(entry.featureId, run);
    if (run.analysisLog()) result.merge(run.takeResult());
    frames.end(entry.featureId);
    cache_.keepWithin(kMaxWhileRunning);
  }
  cache_.keepWithin(kept_);
  if (observer != nullptr) observer->onMerged(result);
  Kestrix::filtStack(result);
  return result;
}

void CompiledRules::read(const std::string& realDir) {
  const auto update = [](std::unique_ptr<RuleDocument>& document, const std::string& path) {
    if (document == nullptr || !document->isUpToDate(path)) document = std::make_unique<RuleDocument>(path);
  };
  update(match_, MatchRuleFile(realDir));
  update(assemble_, AssembleRuleFile(realDir));
}

size_t CompiledRules::memory() const {
  size_t bytes = cache_.memory();
  for (const auto* document : {match_.get(), assemble_.get()}) bytes += document == nullptr ? 0 : document->memory();
  return bytes;
}
