#ifndef RULES_RULE_FILE_H
#define RULES_RULE_FILE_H

#include <json/json.h>

#include <cstddef>
#include <string>
#include <string_view>

// Reads a rule file as strict JSON (no comments, the root an object or an array) into `root`. False when `path` is not
// a readable regular file, does not hold JSON, or nests values more than 1000 deep; `root` is then of no use.
bool ReadRuleFile(const std::string& path, Json::Value& root);

// The offset of the first value in a JSON text that is nested too deep for the JSON library, which would raise an error
// over it; npos when there is none.
size_t FindTooDeep(std::string_view json);

// Json::Value ends the process when a value that is not an object is asked for a member, or one that is not an array
// for an element. These three look first.

// True when `value` is an object that has a member `key`, null members included.
bool HasMember(const Json::Value& value, const std::string& key);

// The member `key` of an object; the null value when there is none.
const Json::Value& Member(const Json::Value& value, const std::string& key);

// The number of elements of an array, 0 for any other value.
Json::ArrayIndex ElementCount(const Json::Value& value);

#endif  // RULES_RULE_FILE_H
