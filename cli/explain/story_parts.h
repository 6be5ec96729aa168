#ifndef CLI_EXPLAIN_STORY_PARTS_H
#define CLI_EXPLAIN_STORY_PARTS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/explain/run_teller.h"
#include "cli/explain/story.h"
#include "cli/rule_files/rule_places.h"

// The parts of a story that are not told by the library while it runs. They are found out with its own functions.

// The frame entry that the library would be at with its path test. An invalid expression in it ends the process.
struct TriedEntry {
  FilePlace place;
  std::string key;
};

// Which frame entries and feature ids are taken, and why not the others. `tried` is kept up to date.
std::vector<EntryStory> TellEntries(const Story& story, const RulePlaces& places, TriedEntry& tried);

// What the filter makes of the "STACK" that the runs gave. Nothing without one.
std::optional<StackStory> TellStack(const Story& story, const RunTeller& runs);

// Where what is told of a stack differs from what the library has made of it; empty when it does not.
std::string StackFault(const StackStory& stack);

// What there is to say about the text of a log, and what the library does about it.
std::vector<std::string> TellHealth(std::string_view log);

#endif  // CLI_EXPLAIN_STORY_PARTS_H
