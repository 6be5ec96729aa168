#ifndef RULES_RULE_FILE_H
#define RULES_RULE_FILE_H

#include <json/json.h>
#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <string_view>

// Reads a rule file as strict JSON (no comments, the root an object or an array) into `root`. False when `path` is not
// a readable regular file, does not hold JSON, or nests values more than 1000 deep; `root` is then of no use.
bool ReadRuleFile(const std::string& path, Json::Value& root);

// The offset of the first value in a JSON text that is nested too deep for the JSON library, which would raise an error
// over it; npos when there is none.
size_t FindTooDeep(std::string_view json);

// A rule file as it stood when it was read.
class RuleDocument {
 public:
  explicit RuleDocument(const std::string& path);

  const std::string& path() const { return path_; }

  // Null when ReadRuleFile refuses the file.
  const Json::Value* root() const { return isRead_ ? &root_ : nullptr; }

  // False when the file has been changed or replaced since, or is not at `path`.
  bool isUpToDate(const std::string& path) const;

  // Bytes held, about.
  size_t memory() const;

 private:
  std::string path_;
  struct stat status_ {};
  Json::Value root_;
  bool isRead_;
};

// Json::Value ends the process when a value that is not an object is asked for a member, or one that is not an array
// for an element. These three look first.

// True when `value` is an object that has a member `key`, null members included.
bool HasMember(const Json::Value& value, const std::string& key);

// The member `key` of an object; the null value when there is none.
const Json::Value& Member(const Json::Value& value, const std::string& key);

// The number of elements of an array, 0 for any other value.
Json::ArrayIndex ElementCount(const Json::Value& value);

#endif  // RULES_RULE_FILE_H
