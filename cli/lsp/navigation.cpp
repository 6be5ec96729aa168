#include <algorithm>
#include <map>

#include "cli/lsp/features.h"
#include "cli/lsp/names.h"
#include "cli/output/json_text.h"

namespace {

// Kinds of symbols, by the protocol's numbers.
constexpr int kModule = 2;
constexpr int kFieldSymbol = 8;
constexpr int kFunction = 12;
constexpr int kKeySymbol = 20;
constexpr int kEventSymbol = 24;

Json::Value LocationOf(Project& project, FileKind file, Span span) {
  Json::Value location;
  location["uri"] = project.uri(file);
  location["range"] = RangeJson(project.document(file), span);
  return location;
}

// All places of the name that stands at the spot. Of the present text only: in an older one they would be elsewhere.
std::vector<NamePlace> SameName(const Spot& spot) {
  const std::vector<NamePlace> places = NamesIn(spot.project.now());
  std::vector<NamePlace> same;
  const std::vector<NamePlace> here = NamesAt(places, spot.file, spot.offset);
  if (here.empty()) return same;
  // Between a rule's name and its parameter's stands one byte, so the nearer one is meant.
  const NamePlace& chosen = here.back();
  for (const NamePlace& place : places) {
    const bool isOurs = std::any_of(here.begin(), here.end(), [&](const NamePlace& other) {
      return other.span.begin == chosen.span.begin && other.name == place.name;
    });
    const bool isKnown = std::any_of(same.begin(), same.end(), [&place](const NamePlace& other) {
      return other.file == place.file && other.span.begin == place.span.begin;
    });
    if (isOurs && !isKnown) same.push_back(place);
  }
  return same;
}

Json::Value Locations(const Spot& spot, const std::vector<NamePlace>& places) {
  Json::Value list(Json::arrayValue);
  for (const NamePlace& place : places) list.append(LocationOf(spot.project, place.file, place.span));
  return list;
}

// A name of the same kind that would then be there twice.
bool IsTaken(const Spot& spot, Name name, const std::string& newName) {
  name.text = newName;
  const std::vector<NamePlace> places = NamesIn(spot.project.now());
  return std::any_of(places.begin(), places.end(),
                     [&name](const NamePlace& place) { return place.isDefinition && place.name == name; });
}

Json::Value Symbol(const TextDocument& document, const std::string& name, int kind, Span whole, Span chosen) {
  Json::Value symbol;
  symbol["name"] = name.empty() ? "(no name)" : name;
  symbol["kind"] = kind;
  symbol["range"] = RangeJson(document, whole);
  symbol["selectionRange"] = RangeJson(document, chosen);
  return symbol;
}

Json::Value RuleSymbol(const TextDocument& document, const PlacedRule& rule) {
  Json::Value symbol = Symbol(document, rule.record.name, kFunction, rule.span, {rule.span.begin, rule.span.begin + 1});
  for (const PlacedParam& param : rule.params) {
    symbol["children"].append(
        Symbol(document, param.key, kFieldSymbol, {param.keySpan.begin, param.pattern.span.end}, param.keySpan));
  }
  return symbol;
}

Json::Value MatchSymbols(const TextDocument& document, const RuleSnapshot& rules) {
  Json::Value list(Json::arrayValue);
  for (const PlacedEntry& entry : rules.model.entries) {
    const JsonMember* member = rules.matchFile.tree.find(entry.key);
    if (member == nullptr) continue;
    Json::Value symbol =
        Symbol(document, entry.key, kModule, {member->keySpan.begin, member->value.span.end}, member->keySpan);
    for (const PlacedRule& rule : entry.rules) symbol["children"].append(RuleSymbol(document, rule));
    list.append(symbol);
  }
  return list;
}

Json::Value AssembleSymbols(const TextDocument& document, const JsonNode& node, size_t depth) {
  constexpr int kKinds[] = {kEventSymbol, kModule, kKeySymbol};
  Json::Value list(Json::arrayValue);
  for (const JsonMember& member : node.members) {
    Json::Value symbol =
        Symbol(document, member.key.text, kKinds[depth], {member.keySpan.begin, member.value.span.end}, member.keySpan);
    if (depth + 1 < std::size(kKinds)) symbol["children"] = AssembleSymbols(document, member.value, depth + 1);
    list.append(symbol);
  }
  return list;
}

}  // namespace

Json::Value DefinitionAt(const Spot& spot) {
  std::vector<NamePlace> places = SameName(spot);
  std::erase_if(places, [](const NamePlace& place) { return !place.isDefinition; });
  return places.empty() ? Json::Value() : Locations(spot, places);
}

Json::Value ReferencesAt(const Spot& spot, bool withDefinition) {
  std::vector<NamePlace> places = SameName(spot);
  std::erase_if(places, [withDefinition](const NamePlace& place) { return place.isDefinition && !withDefinition; });
  return Locations(spot, places);
}

Json::Value HighlightsAt(const Spot& spot) {
  Json::Value list(Json::arrayValue);
  for (const NamePlace& place : SameName(spot)) {
    if (place.file != spot.file) continue;
    Json::Value highlight;
    highlight["range"] = RangeJson(spot.project.document(place.file), place.span);
    list.append(highlight);
  }
  return list;
}

Json::Value RenamableAt(const Spot& spot) {
  for (const NamePlace& place : SameName(spot)) {
    if (place.file != spot.file || spot.offset < place.span.begin || spot.offset > place.span.end) continue;
    Json::Value found;
    found["range"] = RangeJson(spot.project.document(spot.file), place.span);
    found["placeholder"] = place.name.text;
    return found;
  }
  return Json::nullValue;
}

Json::Value RenameAt(const Spot& spot, const std::string& newName, std::string& fault) {
  const std::vector<NamePlace> places = SameName(spot);
  if (places.empty()) {
    fault = "there is no name of a rule, parameter, record or feature id here";
    return Json::nullValue;
  }
  const Name& name = places.front().name;
  fault = WhyNoName(name.kind, newName);
  if (fault.empty() && name.text != newName && IsTaken(spot, name, newName)) fault = newName + " is there already";
  if (!fault.empty()) return Json::nullValue;
  Json::Value edit;
  edit["changes"] = Json::Value(Json::objectValue);
  for (const NamePlace& place : places) {
    Json::Value change;
    change["range"] = RangeJson(spot.project.document(place.file), place.span);
    change["newText"] = newName;
    edit["changes"][spot.project.uri(place.file)].append(change);
  }
  return edit;
}

Json::Value SymbolsOf(Project& project, FileKind file) {
  const RuleSnapshot& rules = project.now();
  const TextDocument& document = project.document(file);
  if (file == FileKind::kMatch) return MatchSymbols(document, rules);
  return AssembleSymbols(document, rules.assembleFile.tree, 0);
}
