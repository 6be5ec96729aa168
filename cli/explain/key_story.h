#ifndef CLI_EXPLAIN_KEY_STORY_H
#define CLI_EXPLAIN_KEY_STORY_H

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/explain/story.h"

// Why a result key has its value, or is missing: its template, the records of that, the rules that make them,
// and the line where each of these ends.

struct RecordOrigin {
  std::string name;
  bool isThere = false;
  std::string value;
  std::optional<size_t> rule;  // the one that makes the record, an index of RunStory::rules; none when no rule does
  std::string pattern;         // of its parameter, as written
  // The variables of keywords and pattern with their values; none while there is no such record.
  std::vector<std::pair<std::string, std::optional<std::string>>> variables;
  LogLine line;      // of the record, else the one that came nearest; number 0: none
  std::string why;   // the record is missing, in words
  std::string edit;  // that would likely make it; empty when none is known
};

struct TemplateOrigin {
  size_t run = 0;  // an index of Story::runs
  const TemplateStory* templateStory = nullptr;
  std::vector<RecordOrigin> records;

  bool isBegun() const {  // a record is there
    return std::any_of(records.begin(), records.end(), [](const RecordOrigin& record) { return record.isThere; });
  }
};

struct KeyStory {
  std::string key;
  std::string value;                    // empty: missing
  std::string source;                   // the key that it is made from, when no template gives it: "STACK"
  std::vector<TemplateOrigin> origins;  // those that give a value first
  std::vector<std::string> remarks;     // what else there is to say
};

// Refers into the story.
KeyStory MakeKeyStory(const Story& story, const std::string& key);

// The keys that a call may give: those of its templates, and those that the stack filter makes.
std::vector<std::string> KeysOf(const Story& story);

#endif  // CLI_EXPLAIN_KEY_STORY_H
