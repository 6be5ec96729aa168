#ifndef RULES_RULE_H
#define RULES_RULE_H

#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "rules/piled_frame.h"
#include "rules/rule_file.h"
#include "rules/rule_records.h"

// Loads both rule files of a directory for one log path and event type, and hands out copies of what they hold.
class Rule {
 public:
  // An empty `configDir` stands for "/system_ext/etc".
  Rule(std::string logPath, std::string configDir, std::string eventType);

  // See MatchRule::assumeLog.
  void assumeLog(std::string standIn) { standIn_ = std::move(standIn); }

  // Reads "match_rule.json" and "assemble_rule.json" and replaces what an earlier call loaded. An unreadable file
  // leaves its containers empty.
  void parseRule();

  // The same for files that were read before.
  void parseRule(const RuleDocument& matchFile, const RuleDocument& assembleFile);

  // Feature id -> frame, of the feature ids accepted for the event type and the log path.
  std::map<std::string, FeatureFrame> getMatchRule() const;

  // The same frames, not built yet.
  const std::map<std::string, PiledFrame>& getPiledFrames() const { return featureFrames_; }

  // Feature ids with their result templates, in priority order.
  std::list<AssembleEntry> getAssembleRule() const { return assembleRules_; }

  // Name -> {keyWords, desc} of the file-wide segment frame table.
  std::map<std::string, std::vector<std::string>> getSegmentFrame() const { return segmentFrame_; }

 private:
  std::string logPath_;
  std::string configDir_;
  std::string eventType_;
  std::string standIn_;
  std::map<std::string, PiledFrame> featureFrames_;
  std::list<AssembleEntry> assembleRules_;
  std::map<std::string, std::vector<std::string>> segmentFrame_;
};

#endif  // RULES_RULE_H
