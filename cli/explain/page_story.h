#ifndef CLI_EXPLAIN_PAGE_STORY_H
#define CLI_EXPLAIN_PAGE_STORY_H

#include <json/json.h>

#include <cstddef>
#include <iosfwd>

#include "cli/explain/story.h"

inline constexpr size_t kMaxPageVerdicts = 60'000;  // that a page holds for a run: 2,000 lines of 30 rules

// A page for a browser that needs nothing else: the log beside the story, linked both ways. Of a log of more than 16
// MiB, or of half a million lines, it holds the lines that the story names, and those around them.
void PrintStoryAsPage(const Story& story, std::ostream& out);

// What such a page is drawn from.
Json::Value StoryAsPageData(const Story& story);

// A page that is drawn from data that it fetches: "live" of its own data says from where.
void PrintLivePage(const Json::Value& live, std::ostream& out);

#endif  // CLI_EXPLAIN_PAGE_STORY_H
