#include "cli/fleet/result_line.h"

#include <cstring>

#include "cli/output/json_text.h"

namespace {

bool Take(std::string_view word, std::string_view& rest) {
  if (!rest.starts_with(word)) return false;
  rest.remove_prefix(word.size());
  return true;
}

std::string_view ViewOf(const Json::Value& text) {
  const char* begin = nullptr;
  const char* end = nullptr;
  if (!text.isString() || !text.getString(&begin, &end)) return {};
  return {begin, static_cast<size_t>(end - begin)};
}

// What a character after a backslash stands for; '\0' for what is not as simple.
char Unescaped(char c) {
  constexpr std::string_view kCodes = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  const size_t at = kCodes.find(c);
  return at == std::string_view::npos ? '\0' : kMeanings[at];
}

// With the parser, which knows what "\u" may be followed by.
std::string ParsedString(std::string_view text) {
  Json::Value root;
  ReadJsonObject("{\"\":\"" + std::string(text) + "\"}", root);
  return std::string(ViewOf(root[""]));
}

}  // namespace

std::string ResultLine::textOf(const Text& text) {
  if (!text.isEscaped) return std::string(text.text);
  std::string plain;
  plain.reserve(text.text.size());
  for (std::string_view rest = text.text; !rest.empty();) {
    const size_t length = std::min(rest.find('\\'), rest.size());
    plain += rest.substr(0, length);
    rest.remove_prefix(length);
    if (rest.empty()) break;
    const char c = Unescaped(rest[1]);
    if (c == '\0') return ParsedString(text.text);
    plain += c;
    rest.remove_prefix(2);
  }
  return plain;
}

bool ResultLine::takeString(std::string_view& rest, Text& text) {
  if (!Take("\"", rest)) return false;
  text.isEscaped = false;
  for (size_t at = 0;; ++at) {
    at = rest.find('"', at);
    if (at == std::string_view::npos) return false;
    size_t escapes = 0;
    while (escapes < at && rest[at - 1 - escapes] == '\\') ++escapes;
    if (escapes % 2 == 1) continue;
    text.text = rest.substr(0, at);
    text.isEscaped = text.text.find('\\') != std::string_view::npos;
    rest.remove_prefix(at + 1);
    return true;
  }
}

bool ResultLine::readResults(std::string_view& rest) {
  if (Take("}", rest)) return true;
  do {
    auto& [key, value] = results_.emplace_back();
    if (!takeString(rest, key) || !Take(":", rest) || !takeString(rest, value)) return false;
  } while (Take(",", rest));
  return Take("}", rest);
}

bool ResultLine::readPrinted(std::string_view line) {
  Text ignored;
  if (!Take("{\"path\":", line) || !takeString(line, path_)) return false;
  if (Take(",\"encodedPath\":", line) && !takeString(line, ignored)) return false;
  if (!Take(",\"event\":", line) || !takeString(line, event_)) return false;
  if (Take(",\"as\":", line) && !takeString(line, ignored)) return false;
  isFailed_ = Take(",\"error\":", line);
  if (isFailed_) return takeString(line, ignored) && line == "}";
  if (!Take(",\"results\":{", line) || !readResults(line)) return false;
  if (Take(",\"ms\":", line)) line.remove_prefix(std::min(line.find_first_not_of("0123456789."), line.size()));
  return line == "}";
}

bool ResultLine::readAny(std::string_view line) {
  any_ = Json::Value();
  if (!ReadJsonObject(std::string(line), any_) || !any_["path"].isString()) return false;
  path_ = {ViewOf(any_["path"])};
  event_ = {ViewOf(any_["event"])};
  isFailed_ = any_.isMember("error");
  const Json::Value& results = any_["results"];
  if (!results.isObject()) return isFailed_;
  for (auto item = results.begin(); item != results.end(); ++item) {
    const char* end = nullptr;
    const char* begin = item.memberName(&end);
    const std::string_view name(begin, static_cast<size_t>(end - begin));
    if (item->isString()) results_.push_back({{name}, {ViewOf(*item)}});
  }
  return true;
}

bool ResultLine::read(std::string_view line) {
  results_.clear();
  if (readPrinted(line)) return true;
  results_.clear();
  return readAny(line);
}

std::string ResultLine::path() const { return textOf(path_); }

std::string ResultLine::event() const { return textOf(event_); }

std::optional<std::string> ResultLine::result(std::string_view key) const {
  for (const auto& [name, value] : results_) {
    if (name.isEscaped ? textOf(name) == key : name.text == key) return textOf(value);
  }
  return std::nullopt;
}
