#include "rules/rule_file.h"

#include <sys/stat.h>

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>

#include "rules/rule_syntax.h"

namespace {

constexpr size_t kBytesPerByte = 8;  // of memory for a byte of a rule file, about

// Opening a pipe would wait for a writer, and a directory opens but cannot be read.
bool IsRegularFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The last byte of the comment that begins at `begin`; npos when none does, or it does not end. The JSON library passes
// over comments behind a value even where it does not allow them.
size_t CommentEnd(std::string_view json, size_t begin) {
  const std::string_view open = json.substr(begin, 2);
  if (open == "//") return json.find_first_of("\r\n", begin);
  const size_t close = open == "/*" ? json.find("*/", begin + 2) : std::string_view::npos;
  return close == std::string_view::npos ? close : close + 1;
}

// The quote that ends the text which begins at `begin`, or the end of the file.
size_t TextEnd(std::string_view json, size_t begin) {
  size_t i = begin + 1;
  while (i < json.size() && json[i] != '"') i += json[i] == '\\' ? 2 : 1;
  return i;
}

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) status = {};
  return status;
}

bool IsSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

// The newer reader of the JSON library differs in what it accepts: it refuses text after the root value, for one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseStrictly(const std::string& json, Json::Value& root) {
  Json::Reader reader(Json::Features::strictMode());
  return reader.parse(json.data(), json.data() + json.size(), root, true);
}
#pragma GCC diagnostic pop

}  // namespace

size_t FindTooDeep(std::string_view json) {
  int depth = 0;
  for (size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (c == ']' || c == '}') {
      --depth;
    } else if (depth >= kMaxJsonDepth && c != ' ' && c != '\t' && c != '\n' && c != '\r') {
      return i;
    } else if (c == '/') {
      i = CommentEnd(json, i);
      if (i == std::string_view::npos) return i;  // the JSON library reads no further either
    } else if (c == '"') {
      i = TextEnd(json, i);
    } else {
      depth += c == '[' || c == '{' ? 1 : 0;
    }
  }
  return std::string_view::npos;
}

bool ReadRuleFile(const std::string& path, Json::Value& root) {
  if (!IsRegularFile(path)) return false;
  std::ifstream stream(path, std::ios::binary);
  if (!stream.is_open()) return false;
  std::stringstream content;
  content << stream.rdbuf();
  const std::string json = std::move(content).str();
  return FindTooDeep(json) == std::string::npos && ParseStrictly(json, root);
}

RuleDocument::RuleDocument(const std::string& path)
    : path_(path), status_(StatusOf(path)), isRead_(ReadRuleFile(path, root_)) {}

bool RuleDocument::isUpToDate(const std::string& path) const {
  const struct stat now = StatusOf(path);
  return path == path_ && now.st_dev == status_.st_dev && now.st_ino == status_.st_ino &&
         now.st_size == status_.st_size && IsSameTime(now.st_mtim, status_.st_mtim) &&
         IsSameTime(now.st_ctim, status_.st_ctim);
}

size_t RuleDocument::memory() const { return static_cast<size_t>(status_.st_size) * kBytesPerByte; }

bool HasMember(const Json::Value& value, const std::string& key) { return value.isObject() && value.isMember(key); }

const Json::Value& Member(const Json::Value& value, const std::string& key) {
  return value.isObject() ? value[key] : Json::Value::nullSingleton();
}

Json::ArrayIndex ElementCount(const Json::Value& value) { return value.isArray() ? value.size() : 0; }
