// Which frame entries and feature ids are taken.

#include "cli/explain/story_parts.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex.h"
#include "rules/match_rule.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"

namespace {

// How one alternative of "subcataLog" fails. The library reads each segment behind the directory as one expression with
// what is before it: the first one that no beginning of the path meets is the one that fails.
std::string FailureOf(const std::string& logPath, const std::string& dirOrFile, const std::string& alternative) {
  std::string reached = dirOrFile.ends_with('/') ? dirOrFile.substr(0, dirOrFile.size() - 1) : dirOrFile;
  const auto leadsOn = [&logPath](const std::string& expression) {
    return Regex("(?:" + expression + ")(?:/.*)?").matchesWhole(logPath);
  };
  if (!leadsOn(reached)) return "the log is not below " + Quoted(dirOrFile);
  for (const Piece& segment : PiecesOf(alternative, kPathSeparator)) {
    reached += "/" + segment.text;
    if (!leadsOn(reached)) return "segment " + Quoted(segment.text) + " of " + Quoted(alternative) + " does not match";
  }
  return Quoted(alternative) + " matches, but not to the end of the path";
}

std::string WhyRefused(const std::string& logPath, const PlacedEntry& entry) {
  const std::string& dirOrFile = entry.dirOrFile.text();
  if (entry.subcataLog.text().empty()) return "path: the file " + Quoted(dirOrFile) + " does not exist";
  std::string why;
  for (const Piece& alternative : PiecesOf(entry.subcataLog.text(), kOrMark)) {
    const std::string failure = FailureOf(logPath, dirOrFile, alternative.text);
    if (why.find(failure) != std::string::npos) continue;
    why += (why.empty() ? "path: " : "; ") + failure;
  }
  return why.empty() ? "path: \"subcataLog\" holds no alternative" : why;
}

std::string WhyTaken(const Story& story, const PlacedEntry& entry, const std::string& log) {
  if (!story.hasPathTests) return "event type fits; path tests are off";
  if (entry.subcataLog.text().empty()) return "event type fits; reads " + Quoted(log) + ", whatever the log's path is";
  return "event type and path fit";
}

IdStory TellId(const Story& story, const RulePlaces& places, const PlacedEntry& entry, const PlacedId& id) {
  const MatchRule library;
  IdStory told{id.id, places.inMatchFile(id.span), false, ""};
  std::string log;
  if (!library.isFeatureMatched(story.eventType, id.id)) {
    told.why = "its event type is " + Quoted(id.eventType);
  } else if (library.isPathMatched(story.logPath, entry.dirOrFile.text(), entry.subcataLog.text(), log)) {
    told.isTaken = true;
    told.why = WhyTaken(story, entry, log);
  } else {
    told.why = WhyRefused(story.logPath, entry);
  }
  return told;
}

}  // namespace

std::vector<EntryStory> TellEntries(const Story& story, const RulePlaces& places, TriedEntry& tried) {
  std::vector<EntryStory> entries;
  for (const PlacedEntry& entry : places.model().entries) {
    EntryStory told{entry.key, places.ofEntry(entry), "", {}};
    tried = {told.place, entry.key};
    if (entry.dirOrFile.text().empty()) {
      told.why = "it has no \"dirOrFile\"";
    } else if (entry.ids.empty()) {
      told.why = "it has no \"featureId\"";
    } else {
      for (const PlacedId& id : entry.ids) told.ids.push_back(TellId(story, places, entry, id));
    }
    entries.push_back(std::move(told));
  }
  return entries;
}
