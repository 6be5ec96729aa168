// Which frame entries and feature ids are taken.

#include "cli/explain/entry_story.h"

#include "cli/output/terminal.h"
#include "cli/rule_files/path_reason.h"
#include "rules/match_rule.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"

namespace {

std::string WhyRefused(const Story& story, const PlacedEntry& entry) {
  const std::string& dirOrFile = entry.dirOrFile.text();
  if (entry.subcataLog.text().empty()) {
    return "path: the file " + Quoted(dirOrFile) + (story.isStandIn ? " is read, not this log" : " does not exist");
  }
  return "path: " + WhyPathRefused(story.logPath, dirOrFile, entry.subcataLog.text());
}

std::string WhyTaken(const Story& story, const PlacedEntry& entry) {
  if (!story.hasPathTests) return "event type fits; path tests are off";
  if (entry.subcataLog.text().empty())
    return "event type fits; reads " + Quoted(entry.dirOrFile.text()) + ", whatever the log's path is";
  return "event type and path fit";
}

IdStory MakeIdStory(const Story& story, const RulePlaces& places, const PlacedEntry& entry, const PlacedId& id) {
  IdStory idStory{id.id, places.inMatchFile(id.span), false, ""};
  idStory.isTaken = IsTaken({story.logPath, story.isStandIn ? story.logFile : ""}, story.eventType, entry, id);
  if (idStory.isTaken) {
    idStory.why = WhyTaken(story, entry);
  } else if (!MatchRule().isFeatureMatched(story.eventType, id.id)) {
    idStory.why = "its event type is " + Quoted(id.eventType);
  } else {
    idStory.why = WhyRefused(story, entry);
  }
  return idStory;
}

}  // namespace

bool IsTaken(const AnalyzedLog& log, const std::string& eventType, const PlacedEntry& entry, const PlacedId& id) {
  MatchRule library;
  library.assumeLog(log.standIn);
  std::string read;
  return library.isFeatureMatched(eventType, id.id) &&
         library.isPathMatched(log.path, entry.dirOrFile.text(), entry.subcataLog.text(), read);
}

std::vector<EntryStory> MakeEntryStories(const Story& story, const RulePlaces& places, TriedEntry& tried) {
  std::vector<EntryStory> entries;
  for (const PlacedEntry& entry : places.model().entries) {
    EntryStory entryStory{entry.key, places.ofEntry(entry), "", {}};
    tried = {entryStory.place, entry.key};
    if (entry.dirOrFile.text().empty()) {
      entryStory.why = "it has no \"dirOrFile\"";
    } else if (entry.ids.empty()) {
      entryStory.why = "it has no \"featureId\"";
    } else {
      for (const PlacedId& id : entry.ids) entryStory.ids.push_back(MakeIdStory(story, places, entry, id));
    }
    entries.push_back(std::move(entryStory));
  }
  return entries;
}
