#include "rules/rule_file.h"

#include <sys/stat.h>

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>

#include "rules/rule_syntax.h"

namespace {

// Opening a pipe would wait for a writer, and a directory opens but cannot be read.
bool IsRegularFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool IsTooDeep(std::string_view json) {
  int depth = 0;
  bool inText = false;
  for (size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (inText) {
      if (c == '\\') ++i;
      inText = c != '"';
    } else if (c == ']' || c == '}') {
      --depth;
    } else if (depth >= kMaxJsonDepth && c != ' ' && c != '\t' && c != '\n' && c != '\r') {
      return true;
    } else {
      depth += c == '[' || c == '{' ? 1 : 0;
      inText = c == '"';
    }
  }
  return false;
}

// The newer reader of the JSON library differs in what it accepts: it refuses text after the root value, for one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseStrictly(const std::string& json, Json::Value& root) {
  Json::Reader reader(Json::Features::strictMode());
  return reader.parse(json.data(), json.data() + json.size(), root, true);
}
#pragma GCC diagnostic pop

}  // namespace

bool ReadRuleFile(const std::string& path, Json::Value& root) {
  if (!IsRegularFile(path)) return false;
  std::ifstream stream(path, std::ios::binary);
  if (!stream.is_open()) return false;
  std::stringstream content;
  content << stream.rdbuf();
  const std::string json = std::move(content).str();
  return !IsTooDeep(json) && ParseStrictly(json, root);
}

bool HasMember(const Json::Value& value, const std::string& key) { return value.isObject() && value.isMember(key); }

const Json::Value& Member(const Json::Value& value, const std::string& key) {
  return value.isObject() ? value[key] : Json::Value::nullSingleton();
}

Json::ArrayIndex ElementCount(const Json::Value& value) { return value.isArray() ? value.size() : 0; }
