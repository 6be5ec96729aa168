#ifndef CLI_EXPLAIN_TEXT_STORY_H
#define CLI_EXPLAIN_TEXT_STORY_H

#include <iosfwd>
#include <string>

#include "cli/explain/story.h"

// For people: the outcome first, then how it came about. With a line or a rule to answer for, the answer alone.
void PrintStoryAsText(const Story& story, bool inColour, std::ostream& out);

// For people: what leads to the value of a result key, or keeps it away.
void PrintKeyAsText(const Story& story, const std::string& key, bool inColour, std::ostream& out);

#endif  // CLI_EXPLAIN_TEXT_STORY_H
