#include "cli/fleet/use_reporter.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "cli/explain/entry_story.h"
#include "cli/output/lines.h"
#include "rules/rule_syntax.h"

void UseReporter::onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& /*run*/) {
  if (use_.logPath.empty()) use_.logPath = frame.logPath;
  isFirstLog_ = frame.logPath == use_.logPath;
  frameRegexes_.clear();
  const PlacedEntry* entry = entryOf(featureId);
  if (entry == nullptr) return;
  const std::vector<FilePlace> places = places_.ofRules(*entry, frame.rules);
  size_t next = 0;
  for (const FeatureRule& rule : frame.rules) {
    idle_.try_emplace(&rule, RuleKey{featureId, TextOf(places[next++]), rule.name});
  }
}

// The entry whose rules a run of the feature gets: the first one that has the id taken.
const PlacedEntry* UseReporter::entryOf(const std::string& featureId) const {
  std::vector<std::pair<const PlacedEntry*, const PlacedId*>> holders;
  for (const PlacedEntry& entry : places_.model().entries) {
    for (const PlacedId& id : entry.ids) {
      if (id.id == featureId && !entry.dirOrFile.text().empty()) holders.emplace_back(&entry, &id);
    }
  }
  if (holders.size() == 1) return holders.front().first;
  for (const auto& [entry, id] : holders) {
    if (IsTaken(log_, eventType_, *entry, *id)) return entry;
  }
  return nullptr;
}

void UseReporter::onLine(std::string_view /*line*/, size_t offset, LineFate /*fate*/) {
  if (isFirstLog_) use_.lines.push_back(offset);
}

void UseReporter::onRule(const FeatureRule& rule, RuleOutcome /*outcome*/) {
  const auto idle = idle_.find(&rule);
  if (idle == idle_.end()) return;
  use_.fired.insert(std::move(idle->second));
  idle_.erase(idle);
}

void UseReporter::onParam(const FeatureRule& rule, const std::string& key, const std::string* value,
                          size_t /*offset*/) {
  const auto param = rule.params.find(key);
  if (value == nullptr || param == rule.params.end() || !IsStackPattern(param->second)) return;
  frameRegexes_.try_emplace(RecordName(rule.name, key), StackExpression(AppliedPattern(param->second)));
}

void UseReporter::onContribution(const std::string& name, const Record* record, const std::string& value) {
  const auto frameRegex = frameRegexes_.find(name);
  if (record == nullptr || frameRegex == frameRegexes_.end()) return;
  const std::vector<std::string> frames = LinesOf(value);
  std::remove_copy(frames.begin(), frames.end(), std::inserter(use_.stackLines, use_.stackLines.end()), "");
  if (isFirstLog_) use_.stacks.push_back({frameRegex->second, static_cast<size_t>(record->second.position)});
}
