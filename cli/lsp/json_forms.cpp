#include "cli/lsp/features.h"
#include "cli/output/json_text.h"

Json::Value ToJson(Position position) {
  Json::Value json;
  json["line"] = JsonNumber(position.line);
  json["character"] = JsonNumber(position.character);
  return json;
}

Json::Value RangeJson(const TextDocument& document, Span span) {
  Json::Value json;
  json["start"] = ToJson(document.positionOf(span.begin));
  json["end"] = ToJson(document.positionOf(span.end));
  return json;
}
