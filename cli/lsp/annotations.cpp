#include <algorithm>
#include <set>

#include "cli/lsp/features.h"
#include "cli/output/json_text.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxHint = 60;  // characters of a value that are shown

Json::Value Lens(const Json::Value& range, const std::string& title, const char* command,
                 const Json::Value& arguments) {
  Json::Value lens;
  lens["range"] = range;
  lens["command"]["title"] = title;
  lens["command"]["command"] = command;
  lens["command"]["arguments"] = arguments;
  return lens;
}

// Logs in which the rule fired, under any id of its entry.
std::set<std::string> FiredIn(const PlacedEntry& entry, const PlacedRule& rule, const Survey& survey) {
  std::set<std::string> logs;
  for (const PlacedId& id : entry.ids) {
    const auto fired = survey.firedIn.find({id.id, rule.record.name});
    if (fired != survey.firedIn.end()) logs.insert(fired->second.begin(), fired->second.end());
  }
  return logs;
}

std::string Shortened(const std::string& value) {
  std::string line = value.substr(0, value.find('\n'));
  if (CharacterCount(line) <= kMaxHint) return line;
  size_t end = 0;
  for (size_t i = 0; i < kMaxHint; ++i) end += std::max<size_t>(CharacterLength(std::string_view(line).substr(end)), 1);
  return line.substr(0, end) + "...";
}

}  // namespace

Json::Value LensesOf(Project& project, FileKind file, const Survey& survey) {
  Json::Value lenses(Json::arrayValue);
  if (file != FileKind::kMatch || survey.total == 0) return lenses;
  const TextDocument& document = project.document(file);
  for (const PlacedEntry& entry : project.now().model.entries) {
    for (const PlacedRule& rule : entry.rules) {
      const std::set<std::string> logs = FiredIn(entry, rule, survey);
      const Json::Value range = RangeJson(document, {rule.span.begin, rule.span.begin + 1});
      Json::Value arguments(Json::arrayValue);
      Json::Value about;
      about["folder"] = project.folder();
      about["rule"] = rule.record.name;
      about["event"] = entry.ids.empty() ? "" : entry.ids.front().eventType;
      if (!logs.empty()) about["log"] = *logs.begin();
      arguments.append(about);
      lenses.append(Lens(range, "fires in " + std::to_string(logs.size()) + " of " + Counted(survey.logs, "log"),
                         "kestrix.explain", arguments));
      lenses.append(Lens(range, "live", "kestrix.live", arguments));
    }
  }
  return lenses;
}

Json::Value HintsOf(Project& project, FileKind file, Span range, const Survey& survey) {
  Json::Value hints(Json::arrayValue);
  if (file != FileKind::kMatch) return hints;
  const TextDocument& document = project.document(file);
  for (const PlacedEntry& entry : project.now().model.entries) {
    for (const PlacedRule& rule : entry.rules) {
      for (const PlacedParam& param : rule.params) {
        const size_t end = param.pattern.span.end;
        if (end < range.begin || end > range.end || IsStackPattern(param.pattern.text())) continue;
        for (const PlacedId& id : entry.ids) {
          const auto value = survey.values.find({id.id, rule.recordName(param)});
          if (value == survey.values.end()) continue;
          Json::Value hint;
          hint["position"] = ToJson(document.positionOf(end));
          hint["label"] = "= " + Shortened(value->second);
          hint["paddingLeft"] = true;
          hints.append(hint);
          break;
        }
      }
    }
  }
  return hints;
}
