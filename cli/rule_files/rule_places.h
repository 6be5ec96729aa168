#ifndef CLI_RULE_FILES_RULE_PLACES_H
#define CLI_RULE_FILES_RULE_PLACES_H

#include <list>
#include <string>
#include <vector>

#include "cli/output/lines.h"
#include "cli/rule_files/rule_model.h"
#include "rules/rule_records.h"

// A place in a rule file.
struct FilePlace {
  std::string file;
  size_t line = 0;  // from 1; 0 when there is no such place
};

// "rules/match_rule.json:12"; the file alone when the line is not known.
std::string TextOf(const FilePlace& place);

// The places in the rule files of what the library has loaded from them.
class RulePlaces {
 public:
  explicit RulePlaces(const RuleModel& model);

  const RuleModel& model() const { return model_; }

  FilePlace inMatchFile(Span span) const;
  FilePlace ofEntry(const PlacedEntry& entry) const;

  // The places of the rules that the library has loaded from an entry, one for each. It leaves out some of the entry's
  // rules, and has all of them once more for each further id of the entry that it takes.
  std::vector<FilePlace> ofRules(const PlacedEntry& entry, const std::list<FeatureRule>& rules) const;

  FilePlace ofTemplate(const std::string& eventType, const std::string& featureId, const std::string& key) const;

 private:
  const RuleModel& model_;
  LineIndex assembleLines_;
};

#endif  // CLI_RULE_FILES_RULE_PLACES_H
