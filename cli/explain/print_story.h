#ifndef CLI_EXPLAIN_PRINT_STORY_H
#define CLI_EXPLAIN_PRINT_STORY_H

#include <json/json.h>

#include <iosfwd>
#include <string>

#include "cli/explain/story.h"

// For people: the outcome first, then how it came about. With a line or a rule to answer for, the answer alone.
void PrintStoryAsText(const Story& story, bool inColour, std::ostream& out);

// For people: what leads to the value of a result key, or keeps it away.
void PrintKeyAsText(const Story& story, const std::string& key, bool inColour, std::ostream& out);

// One JSON object with all of it.
Json::Value StoryAsJson(const Story& story);
void PrintStoryAsJson(const Story& story, std::ostream& out);

// The same answer as one JSON object.
Json::Value KeyAsJson(const Story& story, const std::string& key);
void PrintKeyAsJson(const Story& story, const std::string& key, std::ostream& out);

// A page for a browser that needs nothing else: the log beside the story, linked both ways. Of a log of more than 16
// MiB, or of half a million lines, it holds the lines that the story names, and those around them.
void PrintStoryAsPage(const Story& story, std::ostream& out);

// What such a page is drawn from.
Json::Value StoryAsPageData(const Story& story);

// A page that is drawn from data that it fetches: "live" of its own data tells from where.
void PrintLivePage(const Json::Value& live, std::ostream& out);

#endif  // CLI_EXPLAIN_PRINT_STORY_H
