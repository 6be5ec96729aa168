#include "cli/output/json_text.h"

#include <cstdio>
#include <memory>

#include "cli/output/utf8.h"

namespace {

Json::StreamWriterBuilder BuilderOf(const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  builder["emitUTF8"] = true;
  return builder;
}

std::string EscapeOf(std::string_view control) {
  unsigned code = static_cast<unsigned char>(control[0]);
  for (const char c : control.substr(1)) code = code << 6 | (static_cast<unsigned char>(c) & 0x3fU);
  char escape[8];
  snprintf(escape, sizeof(escape), "\\u%04x", code & (control.size() == 2 ? 0x7ffU : 0xffffU));
  return escape;
}

std::string WithControlsEscaped(std::string json) {
  const std::string_view text = json;
  std::string escaped;
  size_t copied = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    const size_t size = text[at] == '\n' ? 0 : ControlLength(text.substr(at));
    if (size == 0) continue;
    escaped.append(text, copied, at - copied).append(EscapeOf(text.substr(at, size)));
    copied = at + size;
    at = copied - 1;
  }
  return copied == 0 ? json : escaped.append(text, copied);
}

}  // namespace

std::string JsonLine(const Json::Value& value) {
  static const Json::StreamWriterBuilder kBuilder = BuilderOf("");
  return WithControlsEscaped(ValidUtf8(Json::writeString(kBuilder, value)));
}

std::string JsonPage(const Json::Value& value, bool isTight) {
  Json::StreamWriterBuilder builder = BuilderOf("  ");
  builder["enableYAMLCompatibility"] = isTight;
  return WithControlsEscaped(ValidUtf8(Json::writeString(builder, value))) + "\n";
}

std::string JsonString(std::string_view text) { return JsonLine(std::string(text)); }

Json::Value JsonNumber(size_t number) { return Json::UInt64{number}; }

Json::Value JsonTexts(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) array.append(text);
  return array;
}

bool ReadJsonObject(const std::string& text, Json::Value& root) {
  static const std::unique_ptr<Json::CharReader> kReader = [] {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
  }();
  try {
    return kReader->parse(text.data(), text.data() + text.size(), &root, nullptr) && root.isObject();
  } catch (const Json::Exception&) {  // nested too deep
    return false;
  }
}
