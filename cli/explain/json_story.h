#ifndef CLI_EXPLAIN_JSON_STORY_H
#define CLI_EXPLAIN_JSON_STORY_H

#include <json/json.h>

#include <string>

#include "cli/explain/story.h"

// All of a story.
Json::Value StoryAsJson(const Story& story);

// What leads to the value of a result key, or keeps it away.
Json::Value KeyAsJson(const Story& story, const std::string& key);

#endif  // CLI_EXPLAIN_JSON_STORY_H
