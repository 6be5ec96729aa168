#include "cli/rule_files/event_types.h"

#include <vector>

#include "cli/library/input.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_model.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"

std::set<std::string> EventTypesOf(const std::string& configDir) {
  const JsonFile matchFile(MatchRuleFile(configDir));
  const JsonFile assembleFile(AssembleRuleFile(configDir));
  std::set<std::string> types;
  for (const PlacedEntry& entry : RuleModel(matchFile, assembleFile).entries) {
    for (const PlacedId& id : entry.ids) types.insert(id.eventType);
  }
  return types;
}

std::string UnknownEventType(const std::string& eventType, const std::set<std::string>& known) {
  const std::vector<std::string> types(known.begin(), known.end());
  const std::string nearest = NearestTo(eventType, types);
  return "no rule knows the event type " + Quoted(eventType) + DidYouMean(nearest) + (nearest.empty() ? "; " : " ") +
         "the rules know " + (types.empty() ? "none" : Listed(types));
}

void CheckEventType(const std::string& eventType, const std::string& configDir) {
  const std::set<std::string> known = EventTypesOf(configDir);
  if (known.count(eventType) == 0) throw InputError("event type", UnknownEventType(eventType, known));
}

std::vector<std::string> EventTypesToTry(const std::string& eventType, const std::string& configDir) {
  if (!eventType.empty()) {
    CheckEventType(eventType, configDir);
    return {eventType};
  }
  const std::set<std::string> known = EventTypesOf(configDir);
  if (known.empty()) throw InputError(MatchRuleFile(configDir), "the rules know no event type");
  return {known.begin(), known.end()};
}
