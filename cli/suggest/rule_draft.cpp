#include "cli/suggest/rule_draft.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <string_view>

#include "cli/check/checks.h"
#include "cli/output/json_text.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

// Where a draft's directory is not known: what the author changes last.
constexpr char kDirectory[] = "/data";
constexpr char kAnyFile[] = ".*";

constexpr std::string_view kFilterKeys[] = {kStackKey, kFingerprintKey, kFrameKeys[0], kFrameKeys[1], kFrameKeys[2]};

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// Members one to a line, or all on one.
std::string ObjectOf(const NamedTexts& members, const std::string& between) {
  std::string text;
  for (const auto& [name, value] : members) {
    if (!text.empty()) text += "," + between;
    text += JsonString(name) + ": " + JsonString(value);
  }
  return text;
}

std::string RuleText(const DraftRule& rule) {
  NamedTexts members{{"name", rule.name}};
  if (!rule.depend.empty()) members.emplace_back("depend", rule.depend);
  members.emplace_back("keyWords", rule.keyWords);
  members.insert(members.end(), rule.params.begin(), rule.params.end());
  return "      {\n        " + ObjectOf(members, "\n        ") + "\n      }";
}

std::string EntryText(const Draft& draft) {
  const NamedTexts head{{"dirOrFile", kDirectory}, {"subcataLog", kAnyFile}, {"featureId", draft.featureId}};
  std::string text =
      "  " + JsonString(draft.entryKey) + ": {\n    " + ObjectOf(head, "\n    ") + ",\n    \"rules\": [\n";
  for (const DraftRule& rule : draft.rules) {
    text += RuleText(rule) + (&rule == &draft.rules.back() ? "\n" : ",\n");
  }
  return text + "    ]\n  }";
}

bool Holds(Span outer, Span inner) { return outer.begin <= inner.begin && inner.end <= outer.end; }

// Removes what the finding is about. False when that may not be removed.
bool Remove(const Finding& finding, const RuleModel& model, Draft& draft) {
  if (finding.file != &model.matchFile || model.entries.size() != 1) return false;
  const std::vector<PlacedRule>& placed = model.entries[0].rules;
  for (size_t i = 0; i < placed.size() && i < draft.rules.size(); ++i) {
    if (!Holds(placed[i].span, finding.span)) continue;
    DraftRule& rule = draft.rules[i];
    for (size_t k = 0; k < placed[i].params.size() && rule.params.size() > 1; ++k) {
      const PlacedParam& param = placed[i].params[k];
      if (IsStackPattern(param.pattern.text())) continue;
      if (!Holds(param.keySpan, finding.span) && !Holds(param.pattern.span, finding.span)) continue;
      rule.params.erase(rule.params.begin() + static_cast<std::ptrdiff_t>(k));
      return true;
    }
    if (rule.isEssential) return false;
    draft.rules.erase(draft.rules.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

}  // namespace

NamedTexts Draft::templates() const {
  NamedTexts made;
  const auto isUsed = [&made](const std::string& key) {
    return std::any_of(made.begin(), made.end(), [&key](const auto& row) { return row.first == key; });
  };
  for (const DraftRule& rule : rules) {
    for (const auto& [param, pattern] : rule.params) {
      const std::string name = param.substr(std::string_view(kParamPrefix).size());
      std::string key = UpperCase(name);
      const bool isReserved = std::find(std::begin(kFilterKeys), std::end(kFilterKeys), key) != std::end(kFilterKeys);
      if (isUsed(key) || (isReserved && !IsStackPattern(pattern))) key = UpperCase(rule.name + "_" + name);
      for (int i = 2; isUsed(key); ++i) key = UpperCase(rule.name + "_" + name + "_" + std::to_string(i));
      made.emplace_back(key, RecordName(rule.name, param));
    }
  }
  return made;
}

std::string MatchText(const std::vector<Draft>& drafts) {
  std::string text = "{\n";
  for (const Draft& draft : drafts) text += EntryText(draft) + (&draft == &drafts.back() ? "\n" : ",\n");
  return text + "}\n";
}

std::string AssembleText(const std::vector<Draft>& drafts) {
  std::map<std::string, std::string> sections;
  for (const Draft& draft : drafts) {
    std::string& section = sections[draft.eventType];
    if (!section.empty()) section += ",\n";
    section +=
        "    " + JsonString(draft.featureId) + ": {\n      " + ObjectOf(draft.templates(), "\n      ") + "\n    }";
  }
  std::string text;
  for (const auto& [type, section] : sections) {
    if (!text.empty()) text += ",\n";
    text += "  " + JsonString(type) + ": {\n" + section + "\n  }";
  }
  return "{\n" + text + "\n}\n";
}

bool MakeClean(Draft& draft) {
  while (true) {
    const JsonFile matchFile(kMatchFileName, MatchText({draft}));
    const JsonFile assembleFile(kAssembleFileName, AssembleText({draft}));
    const RuleModel model(matchFile, assembleFile);
    const std::vector<Finding> findings = CheckRules(model);
    if (findings.empty()) return true;
    const bool isRemoved = std::any_of(findings.begin(), findings.end(),
                                       [&](const Finding& finding) { return Remove(finding, model, draft); });
    if (!isRemoved) return false;
  }
}
