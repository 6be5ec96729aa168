#ifndef CLI_RULE_FILES_RULE_MODEL_H
#define CLI_RULE_FILES_RULE_MODEL_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cli/output/lines.h"
#include "cli/rule_files/json_tree.h"
#include "rules/rule_records.h"
#include "rules/rule_syntax.h"

// Both rule files as the library loads them, for all event types at once and with places. What it would refuse or cut
// off is kept, so that one mistake does not look like many.

// The value of a member, as text.
struct PlacedText {
  JsonText json;
  Span span;  // of the whole value; of the object for a member that is absent
  bool isPresent = false;
  bool isKnown = true;  // false where a mistake that is reported hides what was meant

  const std::string& text() const { return json.text; }
};

struct PlacedParam {
  std::string key;  // "v_..."
  Span keySpan;
  PlacedText pattern;
};

struct PlacedRule {
  FeatureRule record;
  PlacedText name;
  bool isRefused = false;  // by the loader, for its "num"
  Span span;
  PlacedText depend;
  PlacedText keyWords;
  std::vector<PlacedParam> params;

  std::string recordName(const PlacedParam& param) const { return RecordName(record.name, param.key); }
};

struct PlacedId {
  std::string id;
  std::string eventType;
  Span span;
};

struct PlacedEntry {
  std::string key;
  Span keySpan;
  bool hasAllRules = true;  // false where something in their lists is no rule
  PlacedText dirOrFile;
  PlacedText subcataLog;
  std::vector<PlacedId> ids;
  std::vector<PlacedRule> rules;  // "rules", then "segmentRule"
};

struct PlacedTemplate {
  std::string key;
  Span keySpan;
  PlacedText text;
};

// The templates of one feature id.
struct PlacedTemplates {
  Span span;  // of the id
  std::vector<PlacedTemplate> templates;
};

struct RuleModel {
  const JsonFile& matchFile;
  const JsonFile& assembleFile;
  std::shared_ptr<const LineIndex> matchLines;  // of the match file; one for all models of single entries
  std::vector<PlacedEntry> entries;             // in byte order of their keys
  std::map<std::string, std::map<std::string, PlacedTemplates>> assembling;  // event type -> feature id -> templates

  RuleModel(const JsonFile& match, const JsonFile& assemble);

  // Of one entry of `whole` and its templates alone.
  RuleModel(const RuleModel& whole, const PlacedEntry& entry);

  // The templates that are read for `id`; null when there are none.
  const PlacedTemplates* templatesOf(const PlacedId& id) const;
};

#endif  // CLI_RULE_FILES_RULE_MODEL_H
