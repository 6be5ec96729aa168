#ifndef CLI_OUTPUT_JSON_TEXT_H
#define CLI_OUTPUT_JSON_TEXT_H

#include <json/json.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// `value` on one line, without a line end. Bytes that are no UTF-8 become U+FFFD, wherever they came from: the JSON
// library reads half a surrogate pair as such. Control characters are escaped, those too that JSON lets pass.
std::string JsonLine(const Json::Value& value);

// The same indented, with a line end. A tight page has no blank before a colon.
std::string JsonPage(const Json::Value& value, bool isTight = false);

// `text` as a JSON string.
std::string JsonString(std::string_view text);

Json::Value JsonNumber(size_t number);

// An array.
Json::Value JsonTexts(const std::vector<std::string>& texts);

// False when `text` is not one JSON object, and nothing else.
bool ReadJsonObject(const std::string& text, Json::Value& root);

#endif  // CLI_OUTPUT_JSON_TEXT_H
