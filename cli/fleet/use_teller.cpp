#include "cli/fleet/use_teller.h"

#include "cli/explain/entry_story.h"
#include "cli/output/lines.h"
#include "stack/stack_tables.h"

void UseTeller::onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& /*run*/) {
  if (use_.logPath.empty()) use_.logPath = frame.logPath;
  isFirstLog_ = frame.logPath == use_.logPath;
  const PlacedEntry* entry = entryOf(featureId);
  if (entry == nullptr) return;
  const std::vector<FilePlace> places = places_.ofRules(*entry, frame.rules);
  size_t next = 0;
  for (const FeatureRule& rule : frame.rules) {
    idle_.try_emplace(&rule, RuleKey{featureId, TextOf(places[next++]), rule.name});
  }
}

// The entry whose rules a run of the feature gets: the first one that has the id taken.
const PlacedEntry* UseTeller::entryOf(const std::string& featureId) const {
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

void UseTeller::onLine(std::string_view /*line*/, size_t offset, LineFate /*fate*/) {
  if (isFirstLog_) use_.lines.push_back(offset);
}

void UseTeller::onRule(const FeatureRule& rule, RuleOutcome /*outcome*/) {
  const auto idle = idle_.find(&rule);
  if (idle == idle_.end()) return;
  use_.fired.insert(std::move(idle->second));
  idle_.erase(idle);
}

void UseTeller::onContribution(const std::string& /*name*/, const Record* record, const std::string& value) {
  ++contributions_;
  if (value.find('\n') == std::string::npos) return;
  if (record != nullptr) lastBegin_ = static_cast<size_t>(record->second.position);
  for (const std::string& line : LinesOf(value)) {
    if (!line.empty()) use_.stackLines.insert(line);
  }
}

void UseTeller::onTemplate(const std::string& key, const std::string& /*templateText*/, const std::string& value) {
  if (key == kStackKey && !value.empty() && !hasStack_) {
    hasStack_ = true;
    if (contributions_ == 1 && isFirstLog_) {
      use_.stack = LinesOf(value);
      std::erase(use_.stack, "");
      use_.stackBegin = lastBegin_;
    }
  }
  contributions_ = 0;
}
