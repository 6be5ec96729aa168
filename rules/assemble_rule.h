#ifndef RULES_ASSEMBLE_RULE_H
#define RULES_ASSEMBLE_RULE_H

#include <json/json.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include "rules/rule_file.h"
#include "rules/rule_records.h"

// Reads the section of one event type of "assemble_rule.json": the result templates of each accepted feature id, in
// priority order. That order is also the order of the runs, and of two runs that give the same key the first one wins.
class AssembleRule {
 public:
  // Loads `ruleFile`. A file that cannot be read and one without a section for `eventType` are logged alike and add
  // nothing.
  void parseAssembleRule(const std::string& ruleFile, const std::string& eventType,
                         std::vector<std::string> featureIds);

  // The same for a file that was read before.
  void parseAssembleRule(const RuleDocument& document, const std::string& eventType,
                         std::vector<std::string> featureIds);

  // Sorts `featureIds` by priority and appends one entry per id; an id without templates gets an empty one. The second
  // argument is not used.
  void parseRule(const Json::Value& section, const std::string& unused, std::vector<std::string>& featureIds);

  // True when feature id `a` goes before `b`: what follows their first "_" is compared byte by byte. Ids that differ
  // only before that are ties.
  static bool comparePrio(const std::string& a, const std::string& b);

  // Result key -> template of one feature id; empty, and logged, when the section does not have the id.
  std::map<std::string, std::string> getMapFromJson(const Json::Value& section, const std::string& featureId) const;

  std::list<AssembleEntry> getAssembleRules() const { return assembleRules_; }

 private:
  std::list<AssembleEntry> assembleRules_;
};

#endif  // RULES_ASSEMBLE_RULE_H
