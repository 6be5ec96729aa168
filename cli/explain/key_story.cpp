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
                       [&key](const TemplateStory& told) { return told.key == key; });
  });
}

// Follows the records of a run to their rules.
class RecordTracer {
 public:
  RecordTracer(const Story& story, const RunStory& run) : story_(story), run_(run) {}

  RecordWay trace(const ContributionStory& part) const {
    RecordWay way;
    way.name = part.record;
    way.isThere = part.isThere;
    way.value = part.value;
    const RecordStory* record = recordOf(part.record);
    way.rule = record != nullptr ? std::optional<size_t>(record->rule) : makerOf(part.record);
    if (!way.rule) {
      way.why = "no rule of " + run_.featureId + " makes " + Quoted(part.record) +
                DidYouMean(NearestTo(part.record, recordNames()));
      return way;
    }
    const RuleStory& rule = run_.rules[*way.rule];
    const std::string param = part.record.substr(std::min(rule.name.size() + 1, part.record.size()));
    const auto pattern = rule.params.find(param);
    if (pattern != rule.params.end()) way.pattern = pattern->second;
    addVariables(rule, way);
    if (record != nullptr) {
      way.line = record->line;
      way.why = part.why;
    } else if (rule.selected.count > 0) {
      tellMissingParam(rule, param, way);
    } else {
      tellMissingLine(rule, way);
    }
    return way;
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

  void addVariables(const RuleStory& rule, RecordWay& way) const {
    std::set<std::string> known;
    for (const Variable& variable : VariablesOf(rule.keyWords + "\n" + rule.depend + "\n" + way.pattern)) {
      if (!variable.isClosed || !known.insert(variable.name).second) continue;
      const RecordStory* record = recordOf(variable.name);
      way.variables.emplace_back(VariableOf(variable.name),
                                 record == nullptr ? std::nullopt : std::optional<std::string>(record->value));
    }
  }

  // The first time that the parameter was looked for; null when that has not been kept.
  static const ParamStory* firstOf(const RuleStory& rule, const std::string& param) {
    for (const SelectedLine& selected : rule.selected.kept) {
      for (const ParamStory& told : selected.params.kept) {
        if (told.key == param) return &told;
      }
    }
    return nullptr;
  }

  // The rule selected lines, but its expression took nothing from them.
  void tellMissingParam(const RuleStory& rule, const std::string& param, RecordWay& way) const {
    const ParamStory* told = firstOf(rule, param);
    way.line = told != nullptr ? told->line : rule.selected.kept.front().line;
    const bool isFilled = told != nullptr && !told->pattern.empty();
    const std::string expression(AppliedPattern(isFilled ? told->pattern : way.pattern));
    const std::string line(story_.textOf(run_, way.line));
    KeyWordDistance distance(std::string(kRegexMark) + expression);
    way.why = "the line is selected, but of " + param + " " +
              (distance.isSafe() ? distance.why(line) : "the expression found nothing");
    way.edit = LikelyExpressionEdit(expression, line, way.line.number);
  }

  void tellMissingLine(const RuleStory& rule, RecordWay& way) const {
    const bool isShown = !rule.nearest.kept.empty();
    way.why = !run_.isReadable ? "the library cannot read the log"
              : isShown        ? rule.nearest.kept[0].verdict.why
                               : "no line was shown to the rule";
    if (!isShown) return;
    way.line = rule.nearest.kept[0].line;
    const bool isByKeyWords = rule.nearest.kept[0].verdict.kind == VerdictKind::kKeyWordsNotFound;
    const std::string& keyWords = rule.filledKeyWords.empty() ? rule.keyWords : rule.filledKeyWords;
    if (isByKeyWords) way.edit = LikelyKeyWordEdit(keyWords, story_.logs[run_.log].text);
  }

  const Story& story_;
  const RunStory& run_;
};

// Those that give a value first, then those that were beaten, then those that made some of their records.
int RankOf(const TemplateWay& way) {
  if (!way.told->value.empty()) return way.told->lostTo.empty() ? 0 : 1;
  return way.isBegun() ? 2 : 3;
}

std::string SourceOf(const Story& story, const std::string& key) {
  if (key == kFingerprintKey || (IsFrameKey(key) && !HasTemplate(story, key))) return kStackKey;
  return "";
}

}  // namespace

KeyStory TellKey(const Story& story, const std::string& key) {
  KeyStory told;
  told.key = key;
  told.source = SourceOf(story, key);
  const auto value = story.result.find(key);
  if (value != story.result.end()) told.value = value->second;
  const std::string& wanted = told.source.empty() ? key : told.source;
  for (size_t i = 0; i < story.runs.size(); ++i) {
    const RecordTracer tracer(story, story.runs[i]);
    for (const TemplateStory& candidate : TemplatesOf(story.runs[i])) {
      if (candidate.key != wanted) continue;
      TemplateWay way{i, &candidate, {}};
      for (const ContributionStory& part : candidate.contributions) way.records.push_back(tracer.trace(part));
      told.ways.push_back(std::move(way));
    }
  }
  std::stable_sort(told.ways.begin(), told.ways.end(), [&story](const TemplateWay& a, const TemplateWay& b) {
    if (RankOf(a) != RankOf(b)) return RankOf(a) < RankOf(b);
    return story.runs[a.run].records.size() > story.runs[b.run].records.size();
  });
  if (!told.source.empty()) told.remarks.push_back("the stack filter makes " + key + " from " + told.source);
  if (story.runs.empty()) {
    told.remarks.emplace_back(
        "no feature is run: no id is taken, or the assemble file has no section of the event type");
  } else if (told.ways.empty()) {
    told.remarks.push_back("no template gives " + Quoted(wanted) + DidYouMean(NearestTo(wanted, KeysOf(story))));
  }
  return told;
}

std::vector<std::string> KeysOf(const Story& story) {
  std::set<std::string> keys;
  for (const auto& [key, value] : story.result) keys.insert(key);
  for (const RunStory& run : story.runs) {
    for (const TemplateStory& told : TemplatesOf(run)) keys.insert(told.key);
  }
  if (keys.count(kStackKey) > 0) {
    keys.insert(kFingerprintKey);
    keys.insert(std::begin(kFrameKeys), std::end(kFrameKeys));
  }
  return {keys.begin(), keys.end()};
}
