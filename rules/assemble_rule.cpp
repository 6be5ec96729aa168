#include "rules/assemble_rule.h"

#include <algorithm>
#include <utility>

#include "rules/rule_file.h"
#include "rules/rule_syntax.h"
#include "util/log.h"

void AssembleRule::parseAssembleRule(const std::string& ruleFile, const std::string& eventType,
                                     std::vector<std::string> featureIds) {
  parseAssembleRule(RuleDocument(ruleFile), eventType, std::move(featureIds));
}

void AssembleRule::parseAssembleRule(const RuleDocument& document, const std::string& eventType,
                                     std::vector<std::string> featureIds) {
  if (document.root() == nullptr || !HasMember(*document.root(), eventType)) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "unable to parse %s file.", document.path().c_str());
    return;
  }
  parseRule((*document.root())[eventType], "", featureIds);
}

void AssembleRule::parseRule(const Json::Value& section, const std::string& /*unused*/,
                             std::vector<std::string>& featureIds) {
  // A stable sort: equal priorities keep their order with any standard library.
  std::stable_sort(featureIds.begin(), featureIds.end(), comparePrio);
  for (const std::string& id : featureIds) assembleRules_.push_back({id, getMapFromJson(section, id)});
}

bool AssembleRule::comparePrio(const std::string& a, const std::string& b) { return PriorityOf(a) < PriorityOf(b); }

std::map<std::string, std::string> AssembleRule::getMapFromJson(const Json::Value& section,
                                                                const std::string& featureId) const {
  std::map<std::string, std::string> templates;
  if (!HasMember(section, featureId)) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "failed to get member %s.", featureId.c_str());
    return templates;
  }
  const Json::Value& members = section[featureId];
  if (!members.isObject()) return templates;
  for (auto member = members.begin(); member != members.end(); ++member) {
    templates.insert({member.name(), (*member).asString()});
  }
  return templates;
}
