#ifndef CLI_RULE_FILES_JSON_TREE_H
#define CLI_RULE_FILES_JSON_TREE_H

#include <json/json.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A stretch of a file, in byte offsets; `end` is behind its last byte.
struct Span {
  size_t begin = 0;
  size_t end = 0;
};

// A text as the library sees it, which knows where in the file each of its bytes is written.
struct JsonText {
  std::string text;
  std::vector<size_t> offsets;  // per byte of `text`, and one more for its end

  // The place of `count` bytes of the text; of one byte when `count` is 0.
  Span span(size_t from, size_t count) const;
};

struct JsonMember;

// A value with its place. Members are in the order of the file, those that a later one of the same name replaces
// included.
struct JsonNode {
  enum class Kind { kNull, kBoolean, kNumber, kString, kArray, kObject };

  Kind kind = Kind::kNull;
  Span span;
  JsonText text;  // of a string
  std::vector<JsonMember> members;
  std::vector<JsonNode> elements;
  const Json::Value* value = nullptr;  // what the library reads; null for a value that is replaced

  // The member that the library reads; null when there is none.
  const JsonMember* find(std::string_view name) const;
};

struct JsonMember {
  JsonText key;
  Span keySpan;  // with its quotes
  JsonNode value;
  bool isRead = true;  // false for one that a later member of the same name replaces
};

// Something about a file's JSON, and where.
struct JsonRemark {
  Span span;
  std::string text;
  std::optional<std::string> cure = {};  // what to write there instead
};

// A rule file: what the library reads of it, and the same with places.
struct JsonFile {
  std::string path;
  std::string text;
  bool isGiven = true;  // false for one of which nothing is known
  bool isJson = false;  // as the library judges it
  JsonRemark fault;     // of a file that is not JSON
  Json::Value root;     // these only of a file that is
  JsonNode tree;
  std::vector<JsonRemark> oddities;  // what the library's reader lets pass although it is not JSON
  Span extra;                        // text behind the root value; empty when there is none

  // Reads the file at `path`. Throws InputError when that is impossible.
  explicit JsonFile(const std::string& path);

  // The same for a text that is not on disk, or not yet.
  JsonFile(std::string path, std::string text);

  // In place of a file that is not given.
  JsonFile() : isGiven(false) {}
  JsonFile(const JsonFile&) = delete;
  JsonFile& operator=(const JsonFile&) = delete;

  // Whether it holds what a rule file has to: without that, nothing about its rules is known.
  bool isUsable() const { return isJson && tree.kind == JsonNode::Kind::kObject; }
};

#endif  // CLI_RULE_FILES_JSON_TREE_H
