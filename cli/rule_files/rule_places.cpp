#include "cli/rule_files/rule_places.h"

#include <algorithm>
#include <tuple>

namespace {

bool IsLoadedAs(const PlacedRule& placed, const FeatureRule& rule) {
  const auto key = [](const FeatureRule& any) {
    return std::tie(any.name, any.depend, any.keyWords, any.command, any.params);
  };
  return !placed.isRefused && key(placed.record) == key(rule);
}

}  // namespace

std::string TextOf(const FilePlace& place) {
  return place.line == 0 ? place.file : place.file + ":" + std::to_string(place.line);
}

RulePlaces::RulePlaces(const RuleModel& model) : model_(model), assembleLines_(model.assembleFile.text) {}

FilePlace RulePlaces::inMatchFile(Span span) const {
  return {model_.matchFile.path, model_.matchLines->placeOf(span.begin).line};
}

FilePlace RulePlaces::ofEntry(const PlacedEntry& entry) const {
  return inMatchFile(model_.matchFile.tree.find(entry.key)->keySpan);
}

std::vector<FilePlace> RulePlaces::ofRules(const PlacedEntry& entry, const std::list<FeatureRule>& rules) const {
  std::vector<FilePlace> places;
  size_t next = 0;
  for (const FeatureRule& rule : rules) {
    places.push_back({model_.matchFile.path, 0});
    for (size_t i = 0; i < entry.rules.size(); ++i) {
      const PlacedRule& placed = entry.rules[(next + i) % entry.rules.size()];
      if (!IsLoadedAs(placed, rule)) continue;
      places.back() = inMatchFile(placed.span);
      next += i + 1;
      break;
    }
  }
  return places;
}

FilePlace RulePlaces::ofTemplate(const std::string& eventType, const std::string& featureId,
                                 const std::string& key) const {
  FilePlace place{model_.assembleFile.path, 0};
  const PlacedTemplates* templates = model_.templatesOf({featureId, eventType, {}});
  if (templates == nullptr) return place;
  for (const PlacedTemplate& candidate : templates->templates) {
    if (candidate.key == key) place.line = assembleLines_.placeOf(candidate.text.span.begin).line;
  }
  return place;
}
