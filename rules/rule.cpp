#include "rules/rule.h"

#include <utility>

#include "rules/assemble_rule.h"
#include "rules/match_rule.h"
#include "rules/rule_syntax.h"

namespace {

constexpr char kDefaultConfigDir[] = "/system_ext/etc";

}  // namespace

Rule::Rule(std::string logPath, std::string configDir, std::string eventType)
    : logPath_(std::move(logPath)), configDir_(std::move(configDir)), eventType_(std::move(eventType)) {}

void Rule::parseRule() {
  if (configDir_.empty()) configDir_ = kDefaultConfigDir;
  parseRule(RuleDocument(MatchRuleFile(configDir_)), RuleDocument(AssembleRuleFile(configDir_)));
}

void Rule::parseRule(const RuleDocument& matchFile, const RuleDocument& assembleFile) {
  MatchRule match;
  match.assumeLog(standIn_);
  match.parseMatchRule(logPath_, matchFile, eventType_);
  featureFrames_ = match.getPiledFrames();
  segmentFrame_ = match.getSegmentFrame();

  AssembleRule assemble;
  assemble.parseAssembleRule(assembleFile, eventType_, match.getFeatureIds());
  assembleRules_ = assemble.getAssembleRules();
}

std::map<std::string, FeatureFrame> Rule::getMatchRule() const { return BuildFrames(featureFrames_); }
