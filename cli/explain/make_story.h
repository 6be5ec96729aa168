#ifndef CLI_EXPLAIN_MAKE_STORY_H
#define CLI_EXPLAIN_MAKE_STORY_H

#include <cstddef>
#include <optional>
#include <string>

#include "cli/explain/story.h"
#include "entry/compiled_rules.h"

// What the user wants to know.
struct Question {
  std::string logName;  // as the user wrote it
  std::string configDir;
  std::string eventType;
  bool hasPathTests = false;        // as on the device; otherwise every path passes
  std::optional<size_t> line = {};  // from 1
  std::string rule = {};            // a name; empty for all
  std::string key = {};             // a result; empty for all
  std::string as = {};              // where on the device the log is to lie, with path tests; empty for nowhere
  std::string logFile = {};         // what is read for the log; empty for the log itself
  size_t verdicts = 0;  // above 0: the story has how each rule fared on each line, up to so many verdicts a run
};

// Calls the library and writes down all that it does. Ends the program with one line when the library would end the
// device's process. Throws InputError for files that cannot be read.
Story MakeStory(const Question& question);

// The same with rules of that directory that are compiled already.
Story MakeStory(const Question& question, CompiledRules& compiled);

#endif  // CLI_EXPLAIN_MAKE_STORY_H
