#include "rules/match_rule.h"

#include <algorithm>

#include "rules/rule_file.h"
#include "rules/rule_syntax.h"
#include "util/log.h"
#include "util/string_util.h"

void MatchRule::parseMatchRule(const std::string& logPath, const std::string& ruleFile, const std::string& eventType) {
  parseMatchRule(logPath, RuleDocument(ruleFile), eventType);
}

void MatchRule::parseMatchRule(const std::string& logPath, const RuleDocument& document, const std::string& eventType) {
  if (document.root() == nullptr) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "unable to parse %s file.", document.path().c_str());
    return;
  }
  parseSegmentFrame(*document.root());
  parseRule(logPath, *document.root(), eventType);
}

void MatchRule::parseSegmentFrame(const Json::Value& root) {
  if (!HasMember(root, "segmentFrame")) {
    KESTRIX_LOG(ANDROID_LOG_INFO, "member %s. is empty", "segmentFrame");
    return;
  }
  const Json::Value& array = root["segmentFrame"];
  const Json::ArrayIndex count = ElementCount(array);
  if (count > kMaxElements)
    KESTRIX_LOG(ANDROID_LOG_INFO, "json size too large, limit to %d.", static_cast<int>(kMaxElements));
  for (Json::ArrayIndex i = 0; i < std::min(count, kMaxElements); ++i) {
    const std::string name = Member(array[i], "name").asString();
    const std::string keyWords = Member(array[i], "keyWords").asString();
    const std::string desc = Member(array[i], "desc").asString();
    if (!name.empty() && !keyWords.empty()) segmentFrame_.insert({name, {keyWords, desc}});
  }
}

void MatchRule::parseRule(const std::string& logPath, const Json::Value& root, const std::string& eventType) {
  KESTRIX_LOG(ANDROID_LOG_DEBUG, "match rule parse begin.");
  for (auto member = root.begin(); member != root.end(); ++member) {
    const Json::Value& entry = *member;
    if (member.name().find(kEntryMark) == std::string::npos) continue;
    const std::string dirOrFile = Member(entry, "dirOrFile").asString();
    if (dirOrFile.empty()) continue;
    const std::string subcataLog = Member(entry, "subcataLog").asString();
    std::string path;
    std::shared_ptr<const FeatureFrame> once;  // one for all ids of the entry: its rules pile up from id to id
    size_t piles = 0;
    for (const std::string& id : splitFeatureIds(entry)) {
      if (!isFeatureMatched(eventType, id) || !isPathMatched(logPath, dirOrFile, subcataLog, path)) continue;
      // Read for each id, since what is logged says for each what is odd about the entry.
      FeatureFrame frame;
      frame.logPath = path;
      frame.skip = entry["skip"].asInt();
      frame.segmentType = entry["segmentType"].asString();
      frame.segmentStart = getJsonArray(entry, "segmentStart");
      frame.segmentStack = getJsonArray(entry, "segmentStack");
      parseRule(entry, frame.rules);
      if (once == nullptr) once = std::make_shared<const FeatureFrame>(std::move(frame));
      featureIds_.push_back(id);
      featureFrames_.insert({id, {once, ++piles}});
      KESTRIX_LOG(ANDROID_LOG_INFO, "parse match json eventType %s, featureId %s.", eventType.c_str(), id.c_str());
    }
  }
  KESTRIX_LOG(ANDROID_LOG_DEBUG, "match rule parse end.");
}

std::map<std::string, FeatureFrame> MatchRule::getFeatureFrames() const { return BuildFrames(featureFrames_); }

std::vector<std::string> MatchRule::splitFeatureIds(const Json::Value& entry) const {
  std::vector<std::string> ids;
  if (HasMember(entry, "featureId")) {
    StringUtil::SplitStr(entry["featureId"].asString(), std::string(kIdSeparator), ids, false, false);
  } else {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "failed to get member %s.", "featureId");
  }
  return ids;
}

std::vector<std::string> MatchRule::getJsonArray(const Json::Value& entry, const std::string& key) const {
  std::vector<std::string> texts;
  const Json::Value& array = Member(entry, key);
  if (!array.isArray()) {
    KESTRIX_LOG(ANDROID_LOG_INFO, "member %s is empty.", key.c_str());
    return texts;
  }
  const Json::ArrayIndex count = array.size();
  if (count > kMaxElements)
    KESTRIX_LOG(ANDROID_LOG_INFO, "json size too large, limit to %d.", static_cast<int>(kMaxElements));
  for (Json::ArrayIndex i = 0; i < std::min(count, kMaxElements); ++i) texts.push_back(array[i].asString());
  return texts;
}

void MatchRule::parseRule(const Json::Value& entry, std::list<FeatureRule>& rules) const {
  if (!HasMember(entry, kPlainCommand)) return;
  for (const char* command : {kPlainCommand, kSegmentCommand}) {
    if (HasMember(entry, command)) parseRule(entry[command], rules, command);
  }
}

void MatchRule::parseRule(const Json::Value& array, std::list<FeatureRule>& rules, const std::string& command) const {
  const Json::ArrayIndex count = ElementCount(array);
  if (count > kMaxElements)
    KESTRIX_LOG(ANDROID_LOG_INFO, "json size too large, limit to %d.", static_cast<int>(kMaxElements));
  for (Json::ArrayIndex i = 0; i < std::min(count, kMaxElements); ++i) {
    const Json::Value& element = array[i];
    FeatureRule rule;
    rule.command = command;
    rule.name = Member(element, "name").asString();
    rule.depend = Member(element, "depend").asString();
    rule.keyWords = Member(element, "keyWords").asString();
    parseRuleParam(element, rule.params, kParamPrefix);
    rule.num = Member(element, "num").asInt();
    if (IsRefused(command, rule.num)) {
      KESTRIX_LOG(ANDROID_LOG_ERROR, "rule command can't have num.");
      continue;
    }
    rules.push_back(std::move(rule));
  }
}

void MatchRule::parseRuleParam(const Json::Value& element, std::map<std::string, std::string>& params,
                               const std::string& prefix) const {
  if (!element.isObject()) return;
  for (auto member = element.begin(); member != element.end(); ++member) {
    if (member.name().starts_with(prefix)) params.insert({member.name(), (*member).asString()});
  }
}
