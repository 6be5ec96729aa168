#include "cli/output/json_text.h"

#include <memory>

#include "cli/output/utf8.h"

namespace {

Json::StreamWriterBuilder BuilderOf(const char* indentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = indentation;
  builder["emitUTF8"] = true;
  return builder;
}

}  // namespace

std::string JsonLine(const Json::Value& value) {
  static const Json::StreamWriterBuilder kBuilder = BuilderOf("");
  return Json::writeString(kBuilder, value);
}

std::string JsonPage(const Json::Value& value, bool isTight) {
  Json::StreamWriterBuilder builder = BuilderOf("  ");
  builder["enableYAMLCompatibility"] = isTight;
  return Json::writeString(builder, value) + "\n";
}

std::string JsonString(std::string_view text) { return JsonLine(ValidUtf8(text)); }

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
