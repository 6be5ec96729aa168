#ifndef CLI_EXPLAIN_ENTRY_STORY_H
#define CLI_EXPLAIN_ENTRY_STORY_H

#include <string>
#include <vector>

#include "cli/explain/story.h"
#include "cli/rule_files/rule_places.h"
#include "entry/compiled_rules.h"

// The frame entry that the library would be at with its path test. An invalid expression in it ends the process.
struct TriedEntry {
  FilePlace place;
  std::string key;
};

// Whether the library takes a feature id of an entry for the log.
bool IsTaken(const AnalyzedLog& log, const std::string& eventType, const PlacedEntry& entry, const PlacedId& id);

// Which frame entries and feature ids are taken, and why not the others. `tried` is kept up to date.
std::vector<EntryStory> MakeEntryStories(const Story& story, const RulePlaces& places, TriedEntry& tried);

#endif  // CLI_EXPLAIN_ENTRY_STORY_H
