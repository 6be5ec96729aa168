#ifndef RULES_MATCH_RULE_H
#define RULES_MATCH_RULE_H

#include <json/json.h>

#include <cstddef>
#include <list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "rules/piled_frame.h"
#include "rules/rule_file.h"
#include "rules/rule_records.h"

// The path that one alternative of "subcataLog" leads to: the whole of `logPath` as soon as a segment's expression,
// read behind the directory reached so far, matches it; else the directory and the segments as they are written. The
// log passes when this is its path.
std::string FollowSegments(const std::string& logPath, const std::string& dir, const std::string& alternative);

// Reads "match_rule.json" for one event type and one log path: keeps the feature ids that belong to the event type and
// whose path test accepts the log, each with its frame. Of every JSON array the first 50 elements are read. A problem
// in the file is logged and skipped; only an unreadable file stops the load. An invalid regular expression in
// "subcataLog" ends the process on the device.
class MatchRule {
 public:
  // Loads `ruleFile`. An unreadable or unparsable file leaves the containers as they were.
  void parseMatchRule(const std::string& logPath, const std::string& ruleFile, const std::string& eventType);

  // The same for a file that was read before.
  void parseMatchRule(const std::string& logPath, const RuleDocument& document, const std::string& eventType);

  // Adds the elements of the root's "segmentFrame" array: name -> {keyWords, desc}. The first of a name stays.
  void parseSegmentFrame(const Json::Value& root);

  // Adds the accepted feature ids and frames of every root member whose key contains "featureFrame", in byte order of
  // the keys. The accepted ids of one entry share a frame that grows: each id's copy holds the entry's rules once more
  // than the copy before it.
  void parseRule(const std::string& logPath, const Json::Value& root, const std::string& eventType);

  // The ids of the entry's comma-separated "featureId"; empty when the member is missing.
  std::vector<std::string> splitFeatureIds(const Json::Value& entry) const;

  // True when the part of `featureId` between its first and its last "_" is `eventType`. Of an id with one "_" that
  // part is all that follows; an id without "_" belongs to the event type "none".
  bool isFeatureMatched(const std::string& eventType, const std::string& featureId) const;

  // Whether the frame entry applies to `logPath`; `out` gets the log file to read, also on failure. With the system
  // property "persist.sys.Kestrix.debug" every path passes. Without `subcataLog` the file `dirOrFile` is read, whatever
  // `logPath` is. Otherwise `logPath` itself must match one alternative of `subcataLog` below `dirOrFile`, and exist.
  bool isPathMatched(const std::string& logPath, const std::string& dirOrFile, const std::string& subcataLog,
                     std::string& out) const;

  // From now on path tests hold under any property, the log's own path is the only one that exists for them, and
  // `standIn` is the file to read for it.
  void assumeLog(std::string standIn) { standIn_ = std::move(standIn); }

  // The texts of the array `key`; empty when it is missing or not an array.
  std::vector<std::string> getJsonArray(const Json::Value& entry, const std::string& key) const;

  // Appends the rules of the entry's "rules" array and then, only when that is present, of its "segmentRule" array.
  void parseRule(const Json::Value& entry, std::list<FeatureRule>& rules) const;

  // Appends the rules of one array. With `command` "rules" an element with a "num" of 1 or more is refused.
  void parseRule(const Json::Value& array, std::list<FeatureRule>& rules, const std::string& command) const;

  // Inserts the members of `element` whose key begins with `prefix`; keys already present stay.
  void parseRuleParam(const Json::Value& element, std::map<std::string, std::string>& params,
                      const std::string& prefix) const;

  // The accepted ids in the order of acceptance; an id may occur twice.
  std::vector<std::string> getFeatureIds() const { return featureIds_; }

  // Feature id -> frame; the first frame of an id stays.
  std::map<std::string, FeatureFrame> getFeatureFrames() const;

  // The same frames, not built yet.
  const std::map<std::string, PiledFrame>& getPiledFrames() const { return featureFrames_; }

  std::map<std::string, std::vector<std::string>> getSegmentFrame() const { return segmentFrame_; }

 private:
  bool exists(const std::string& path, const std::string& logPath) const;

  std::string standIn_;
  std::vector<std::string> featureIds_;
  std::map<std::string, PiledFrame> featureFrames_;
  std::map<std::string, std::vector<std::string>> segmentFrame_;
};

#endif  // RULES_MATCH_RULE_H
