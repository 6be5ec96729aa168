#include "cli/explain/key_story.h"

#include <algorithm>
#include <set>

#include "cli/explain/key_word_distance.h"
#include "cli/explain/likely_edit.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

bool IsFrameKey(const std::string& key) {
  return std::find(std::begin(kFrameKeys), std::end(kFrameKeys), key) != std::end(kFrameKeys);
}

const std::vector<TemplateStory>& TemplatesOf(const RunStory& run) {
  return run.templates.empty() ? run.planned : run.templates;
}

bool HasTemplate(const Story& story, const std::string& key) {
  return std::any_of(story.runs.begin(), story.runs.end(), [&key](const RunStory& run) {
    const auto& templates = TemplatesOf(run);
    return std::any_of(templates.begin(), templates.end(),
                       [&key](const TemplateStory& candidate) { return candidate.key == key; });
  });
}

// Follows the records of a run to their rules.
class RecordTracer {
 public:
  RecordTracer(const Story& story, const RunStory& run) : story_(story), run_(run) {}

  RecordOrigin trace(const ContributionStory& part) const {
    RecordOrigin origin;
    origin.name = part.record;
    origin.isThere = part.isThere;
    origin.value = part.value;
    const RecordStory* record = recordOf(part.record);
    origin.rule = record != nullptr ? std::optional<size_t>(record->rule) : makerOf(part.record);
    if (!origin.rule) {
      origin.why = "no rule of " + run_.featureId + " makes " + Quoted(part.record) +
                   DidYouMean(NearestTo(part.record, recordNames()));
      return origin;
    }
    const RuleStory& rule = run_.rules[*origin.rule];
    const std::string param = part.record.substr(std::min(rule.name.size() + 1, part.record.size()));
    const auto pattern = rule.params.find(param);
    if (pattern != rule.params.end()) origin.pattern = pattern->second;
    addVariables(rule, origin);
    if (record != nullptr) {
      origin.line = record->line;
      origin.why = part.why;
    } else if (rule.selected.count > 0) {
      explainMissingParam(rule, param, origin);
    } else {
      explainMissingLine(rule, origin);
    }
    return origin;
  }

 private:
  const RecordStory* recordOf(const std::string& name) const {
    const auto found = std::find_if(run_.records.begin(), run_.records.end(),
                                    [&name](const RecordStory& record) { return record.name == name; });
    return found == run_.records.end() ? nullptr : &*found;
  }

  // The rule that would make a record.
  std::optional<size_t> makerOf(const std::string& name) const {
    for (size_t i = 0; i < run_.rules.size(); ++i) {
      for (const auto& param : run_.rules[i].params) {
        if (RecordName(run_.rules[i].name, param.first) == name) return i;
      }
    }
    return std::nullopt;
  }

  std::vector<std::string> recordNames() const {
    std::vector<std::string> names;
    for (const RuleStory& rule : run_.rules) {
      for (const auto& param : rule.params) names.push_back(RecordName(rule.name, param.first));
    }
    return names;
  }

  void addVariables(const RuleStory& rule, RecordOrigin& origin) const {
    std::set<std::string> known;
    for (const Variable& variable : VariablesOf(rule.keyWords + "\n" + rule.depend + "\n" + origin.pattern)) {
      if (!variable.isClosed || !known.insert(variable.name).second) continue;
      const RecordStory* record = recordOf(variable.name);
      origin.variables.emplace_back(VariableOf(variable.name),
                                    record == nullptr ? std::nullopt : std::optional<std::string>(record->value));
    }
  }

  // The first time that the parameter was looked for; null when that has not been kept.
  static const ParamStory* firstOf(const RuleStory& rule, const std::string& param) {
    for (const SelectedLine& selected : rule.selected.kept) {
      for (const ParamStory& paramStory : selected.params.kept) {
        if (paramStory.key == param) return &paramStory;
      }
    }
    return nullptr;
  }

  // The rule selected lines, but its expression took nothing from them.
  void explainMissingParam(const RuleStory& rule, const std::string& param, RecordOrigin& origin) const {
    const ParamStory* paramStory = firstOf(rule, param);
    origin.line = paramStory != nullptr ? paramStory->line : rule.selected.kept.front().line;
    const bool isFilled = paramStory != nullptr && !paramStory->pattern.empty();
    const std::string expression(AppliedPattern(isFilled ? paramStory->pattern : origin.pattern));
    const std::string line(story_.textOf(run_, origin.line));
    KeyWordDistance distance(std::string(kRegexMark) + expression);
    origin.why = "the line is selected, but of " + param + " " +
                 (distance.isSafe() ? distance.why(line) : "the expression found nothing");
    origin.edit = LikelyExpressionEdit(expression, line, origin.line.number);
  }

  void explainMissingLine(const RuleStory& rule, RecordOrigin& origin) const {
    const bool isShown = !rule.nearest.kept.empty();
    origin.why = !run_.isReadable ? "the library cannot read the log"
                 : isShown        ? rule.nearest.kept[0].verdict.why
                                  : "no line was shown to the rule";
    if (!isShown) return;
    origin.line = rule.nearest.kept[0].line;
    const bool isByKeyWords = rule.nearest.kept[0].verdict.kind == VerdictKind::kKeyWordsNotFound;
    const std::string& keyWords = rule.filledKeyWords.empty() ? rule.keyWords : rule.filledKeyWords;
    if (isByKeyWords) origin.edit = LikelyKeyWordEdit(keyWords, story_.logs[run_.log].text);
  }

  const Story& story_;
  const RunStory& run_;
};

// Those that give a value first, then those that were beaten, then those that made some of their records.
int RankOf(const TemplateOrigin& origin) {
  if (!origin.templateStory->value.empty()) return origin.templateStory->lostTo.empty() ? 0 : 1;
  return origin.isBegun() ? 2 : 3;
}

std::string SourceOf(const Story& story, const std::string& key) {
  if (key == kFingerprintKey || (IsFrameKey(key) && !HasTemplate(story, key))) return kStackKey;
  return "";
}

}  // namespace

KeyStory MakeKeyStory(const Story& story, const std::string& key) {
  KeyStory keyStory;
  keyStory.key = key;
  keyStory.source = SourceOf(story, key);
  const auto value = story.result.find(key);
  if (value != story.result.end()) keyStory.value = value->second;
  const std::string& wanted = keyStory.source.empty() ? key : keyStory.source;
  for (size_t i = 0; i < story.runs.size(); ++i) {
    const RecordTracer tracer(story, story.runs[i]);
    for (const TemplateStory& candidate : TemplatesOf(story.runs[i])) {
      if (candidate.key != wanted) continue;
      TemplateOrigin origin{i, &candidate, {}};
      for (const ContributionStory& part : candidate.contributions) origin.records.push_back(tracer.trace(part));
      keyStory.origins.push_back(std::move(origin));
    }
  }
  std::stable_sort(keyStory.origins.begin(), keyStory.origins.end(),
                   [&story](const TemplateOrigin& a, const TemplateOrigin& b) {
                     if (RankOf(a) != RankOf(b)) return RankOf(a) < RankOf(b);
                     return story.runs[a.run].records.size() > story.runs[b.run].records.size();
                   });
  if (!keyStory.source.empty())
    keyStory.remarks.push_back("the stack filter makes " + key + " from " + keyStory.source);
  if (story.runs.empty()) {
    keyStory.remarks.emplace_back(
        "no feature is run: no id is taken, or the assemble file has no section of the event type");
  } else if (keyStory.origins.empty()) {
    keyStory.remarks.push_back("no template gives " + Quoted(wanted) + DidYouMean(NearestTo(wanted, KeysOf(story))));
  }
  return keyStory;
}

std::vector<std::string> KeysOf(const Story& story) {
  std::set<std::string> keys;
  for (const auto& [key, value] : story.result) keys.insert(key);
  for (const RunStory& run : story.runs) {
    for (const TemplateStory& candidate : TemplatesOf(run)) keys.insert(candidate.key);
  }
  if (keys.count(kStackKey) > 0) {
    keys.insert(kFingerprintKey);
    keys.insert(std::begin(kFrameKeys), std::end(kFrameKeys));
  }
  return {keys.begin(), keys.end()};
}
