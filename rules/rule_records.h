#ifndef RULES_RULE_RECORDS_H
#define RULES_RULE_RECORDS_H

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

// What the two rule files become. Plain values: a copy shares nothing with its original.

// One line rule, an element of a "rules" or "segmentRule" array.
struct FeatureRule {
  int32_t num = 0;  // lines that the rule spans, the matching one included; 0 and 1 both mean that line only
  std::string name;
  std::string depend;                         // part of a record name that must have been recorded before
  std::string keyWords;                       // keyword expression that selects a line
  std::string command;                        // the array that held the rule: "rules" or "segmentRule"
  std::map<std::string, std::string> params;  // parameter key ("v_...") -> pattern text
};

// Everything that the analysis of one feature id needs. A run erases rules from it, so a frame serves one run.
struct FeatureFrame {
  int32_t skip = 0;     // examined lines without a match after which the scan stops; below 1 means the engine's default
  std::string logPath;  // the log file to read
  std::string segmentType;
  std::vector<std::string> segmentStart;
  std::vector<std::string> segmentStack;
  std::list<FeatureRule> rules;  // "rules" in file order, then "segmentRule" in file order
};

// The result templates of one feature id.
struct AssembleEntry {
  std::string featureId;
  std::map<std::string, std::string> params;  // result key -> template
};

#endif  // RULES_RULE_RECORDS_H
