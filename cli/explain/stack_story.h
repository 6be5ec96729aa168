#ifndef CLI_EXPLAIN_STACK_STORY_H
#define CLI_EXPLAIN_STACK_STORY_H

#include <optional>

#include "cli/explain/run_reporter.h"
#include "cli/explain/story.h"

// What the filter makes of the "STACK" that the runs gave. Nothing without one.
std::optional<StackStory> MakeStackStory(const Story& story, const RunReporter& runs);

#endif  // CLI_EXPLAIN_STACK_STORY_H
