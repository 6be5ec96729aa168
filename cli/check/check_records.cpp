#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "cli/check/checks.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"

namespace {

// Something that a rule waits for.
struct Need {
  std::string name;
  bool isVariable;  // the whole name of a record, else a part of one
  const PlacedText* text;
  size_t offset;
  size_t length;

  bool isMetBy(const std::string& record) const {
    return isVariable ? record == name : record.find(name) != std::string::npos;
  }
};

std::vector<Need> NeedsOf(const PlacedRule& rule) {
  std::vector<Need> needs;
  const auto addVariables = [&needs](const PlacedText& text) {
    for (const Variable& variable : VariablesOf(text.text())) {
      if (variable.isClosed)
        needs.push_back({variable.name, true, &text, variable.begin, variable.end - variable.begin});
    }
  };
  addVariables(rule.depend);
  // Which text a dependency with a variable will ask for is not known.
  const std::string& depend = rule.depend.text();
  if (!depend.empty() && needs.empty()) needs.push_back({depend, false, &rule.depend, 0, depend.size()});
  addVariables(rule.keyWords);
  for (const PlacedParam& param : rule.params) addVariables(param.pattern);
  return needs;
}

// The rules of one entry, what they make and what they wait for.
class EntryRecords {
 public:
  explicit EntryRecords(const PlacedEntry& entry) : entry_(entry) {
    for (const PlacedRule& rule : entry.rules) {
      needs_.push_back(NeedsOf(rule));
      for (const PlacedParam& param : rule.params) names_.push_back(rule.recordName(param));
    }
  }

  const std::vector<std::string>& names() const { return names_; }

  // The names of the rules that wait for `rule` and for which it waits, itself first.
  std::vector<std::string> circleOf(const PlacedRule& rule) const {
    const auto index = static_cast<size_t>(&rule - entry_.rules.data());
    std::vector<std::string> names{rule.record.name};
    const std::vector<bool> ahead = awaitedBy(index);
    for (size_t i = 0; i < needs_.size(); ++i) {
      if (i != index && ahead[i] && awaitedBy(i)[index]) names.push_back(entry_.rules[i].record.name);
    }
    return names;
  }

  // Calls `report` for each need that no record of the entry meets, and for each that is circular: only rules can meet
  // it that wait, in turn, for the rule with the need.
  void findUnmet(const std::function<void(const PlacedRule&, const Need&, bool isCircular)>& report) const {
    for (size_t i = 0; i < needs_.size(); ++i) {
      for (const Need& need : needs_[i]) {
        if (!isMade(need)) report(entry_.rules[i], need, false);
      }
    }
    const std::vector<bool> canFire = rulesThatCanFire();
    for (size_t i = 0; i < needs_.size(); ++i) {
      for (const Need& need : needs_[i]) {
        if (!canFire[i] && isMade(need) && !isMetByAny(need, canFire) && awaited({need})[i]) {
          report(entry_.rules[i], need, true);
        }
      }
    }
  }

  bool isNeeded(const std::string& record) const {
    return std::any_of(needs_.begin(), needs_.end(), [&record](const std::vector<Need>& needs) {
      return std::any_of(needs.begin(), needs.end(), [&record](const Need& need) { return need.isMetBy(record); });
    });
  }

 private:
  bool isMade(const Need& need) const {
    return std::any_of(names_.begin(), names_.end(), [&need](const std::string& name) { return need.isMetBy(name); });
  }

  bool makes(size_t rule, const Need& need) const {
    const PlacedRule& maker = entry_.rules[rule];
    return std::any_of(maker.params.begin(), maker.params.end(),
                       [&](const PlacedParam& param) { return need.isMetBy(maker.recordName(param)); });
  }

  bool isMetByAny(const Need& need, const std::vector<bool>& rules) const {
    for (size_t i = 0; i < rules.size(); ++i) {
      if (rules[i] && makes(i, need)) return true;
    }
    return false;
  }

  // Needs that no record meets count as met: they are reported already.
  std::vector<bool> rulesThatCanFire() const {
    std::vector<bool> canFire(needs_.size(), false);
    for (bool isNew = true; isNew;) {
      isNew = false;
      for (size_t i = 0; i < needs_.size(); ++i) {
        if (canFire[i]) continue;
        canFire[i] = std::all_of(needs_[i].begin(), needs_[i].end(),
                                 [&](const Need& need) { return isMetByAny(need, canFire) || !isMade(need); });
        isNew = isNew || canFire[i];
      }
    }
    return canFire;
  }

  // Which rules a rule waits for, perhaps by way of others.
  std::vector<bool> awaitedBy(size_t rule) const { return awaited(needs_[rule]); }

  std::vector<bool> awaited(const std::vector<Need>& needs) const {
    std::vector<bool> isKnown(needs_.size(), false);
    std::vector<const Need*> open;
    for (const Need& need : needs) open.push_back(&need);
    while (!open.empty()) {
      const Need* next = open.back();
      open.pop_back();
      for (size_t i = 0; i < needs_.size(); ++i) {
        if (isKnown[i] || !makes(i, *next)) continue;
        isKnown[i] = true;
        for (const Need& further : needs_[i]) open.push_back(&further);
      }
    }
    return isKnown;
  }

  const PlacedEntry& entry_;
  std::vector<std::vector<Need>> needs_;  // by rule
  std::vector<std::string> names_;        // of the records
};

// Which rules wait for one another.
std::string CircleOf(const std::vector<std::string>& names) {
  if (names.size() == 1) return "rule " + Quoted(names[0]) + " waits for itself";
  std::string text = "rules ";
  for (size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? " and " : ", ") + Quoted(names[i]);
  }
  return text + " wait for one another";
}

// The one record of that rule or that parameter; empty when there are several, or none.
std::string OnlyOneWith(const std::string& half, const std::vector<std::string>& records) {
  std::string found;
  for (const std::string& record : records) {
    if (half.empty() || !(record.starts_with(half + ".") || record.ends_with("." + half))) continue;
    if (!found.empty()) return "";
    found = record;
  }
  return found;
}

class RecordCheck {
 public:
  RecordCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void checkEntry(const PlacedEntry& entry) {
    const EntryRecords records(entry);
    records.findUnmet([&](const PlacedRule& rule, const Need& need, bool isCircular) {
      addUnmet(entry, records, rule, need, isCircular);
    });
    checkNames(entry);
    checkUnused(entry, records);
  }

  void checkTemplates() {
    for (const auto& [type, section] : model_.assembling) {
      for (const auto& [id, templates] : section) {
        bool hasEntry = false;
        const std::vector<std::string> names = recordsOf(type, id, hasEntry);
        for (const PlacedTemplate& result : templates.templates) {
          checkMixed(result.text);
          if (hasEntry && result.text.isKnown) checkNames(result.text, names);
        }
      }
    }
  }

 private:
  void addUnmet(const PlacedEntry& entry, const EntryRecords& records, const PlacedRule& rule, const Need& need,
                bool isCircular) {
    const Code code = need.isVariable ? Code::kVariableUnmet : Code::kDependUnmet;
    const std::string what = need.isVariable ? "no rule makes a record " + Quoted(need.name)
                                             : "no rule makes a record whose name contains " + Quoted(need.name);
    const std::vector<std::string> candidates = candidatesFor(entry, records, need);
    std::string meant = NearestTo(need.name, candidates);
    if (meant.empty() && need.isVariable) meant = OnlyOneWith(need.name, candidates);
    std::string message = what + DidYouMean(meant);
    const bool isBareRule = std::any_of(entry.rules.begin(), entry.rules.end(), [&need](const PlacedRule& other) {
      return !need.name.empty() && other.record.name.find(need.name) != std::string::npos && other.params.empty();
    });
    if (isBareRule) message = what + ": the rule of that name has no parameters";
    if (isCircular) message = CircleOf(records.circleOf(rule));
    const Span span = need.text->json.span(need.offset, need.length);
    Finding& finding = findings_.add(code, model_.matchFile, span, message);
    if (!isCircular && !isBareRule && !meant.empty()) {
      finding.fix = Fix{span, need.isVariable ? VariableOf(meant) : meant};
    }
  }

  // Names that an author may have meant: of records, and of rules for a dependency.
  static std::vector<std::string> candidatesFor(const PlacedEntry& entry, const EntryRecords& records,
                                                const Need& need) {
    std::vector<std::string> names = records.names();
    if (need.isVariable) return names;
    for (const PlacedRule& rule : entry.rules) {
      if (!rule.params.empty()) names.push_back(rule.record.name);
    }
    return names;
  }

  void checkNames(const PlacedEntry& entry) {
    std::map<std::string, const PlacedRule*> known;
    for (const PlacedRule& rule : entry.rules) {
      if (rule.record.name.empty() || rule.params.empty()) continue;
      const auto [first, isNew] = known.try_emplace(rule.record.name, &rule);
      if (isNew) continue;
      const size_t line = model_.matchLines->placeOf(first->second->span.begin).line;
      findings_.add(Code::kRuleNameRepeated, model_.matchFile, rule.name.span,
                    "rule " + Quoted(rule.record.name) + " in line " + std::to_string(line) +
                        " has this name too: their records cannot be told apart");
    }
  }

  void checkUnused(const PlacedEntry& entry, const EntryRecords& records) {
    std::set<std::string> used;
    for (const PlacedId& id : entry.ids) {
      const PlacedTemplates* templates = model_.templatesOf(id);
      if (templates == nullptr) return;  // that is reported, and what is used is not known
      for (const PlacedTemplate& result : templates->templates) {
        for (const Piece& name : namesOf(result.text)) addUsed(name.text, records, used);
      }
    }
    if (entry.ids.empty()) return;
    records.findUnmet([&](const PlacedRule&, const Need& need, bool) { addUsed(need.name, records, used); });
    for (const PlacedRule& rule : entry.rules) {
      for (const PlacedParam& param : rule.params) {
        const std::string name = rule.recordName(param);
        if (used.contains(name) || BeginsSegment(name) || records.isNeeded(name)) continue;
        findings_.add(Code::kRecordUnused, model_.matchFile, param.keySpan, "nothing uses the record " + Quoted(name));
      }
    }
  }

  // A name that is not known, which is reported, stands for the record that it was most likely meant to be.
  static void addUsed(const std::string& name, const EntryRecords& records, std::set<std::string>& used) {
    const std::vector<std::string>& names = records.names();
    const bool isKnown = std::find(names.begin(), names.end(), name) != names.end();
    used.insert(isKnown ? name : NearestTo(name, names));
  }

  // The records that the entries of a feature id make.
  std::vector<std::string> recordsOf(const std::string& type, const std::string& id, bool& hasEntry) const {
    std::vector<std::string> names;
    for (const PlacedEntry& entry : model_.entries) {
      const bool isOurs = std::any_of(entry.ids.begin(), entry.ids.end(), [&](const PlacedId& candidate) {
        return candidate.id == id && candidate.eventType == type;
      });
      if (!isOurs) continue;
      hasEntry = true;
      const EntryRecords records(entry);
      names.insert(names.end(), records.names().begin(), records.names().end());
    }
    return names;
  }

  static std::vector<Piece> namesOf(const PlacedText& text) {
    const std::string separator = SeparatorOf(text.text());
    return separator.empty() ? std::vector<Piece>{{0, text.text()}} : PiecesOf(text.text(), separator);
  }

  void checkMixed(const PlacedText& text) {
    const size_t other = text.text().find(kReasonSeparator);
    if (other == std::string::npos || SeparatorOf(text.text()) == kReasonSeparator) return;
    findings_.add(
        Code::kTemplateMixed, model_.assembleFile, text.json.span(other, 1),
        "in a template with " + Quoted(kJoinMark) + " a " + Quoted(kReasonSeparator) + " is part of a record's name");
  }

  // An empty name is dropped with its separator.
  void checkEmptyNames(const PlacedText& text, size_t nameCount) {
    const std::string separator = SeparatorOf(text.text());
    if (separator.empty() || nameCount == 0) return;
    const auto separators = static_cast<size_t>(std::count(text.text().begin(), text.text().end(), separator[0]));
    if (separators < nameCount) return;
    findings_.add(Code::kTermEmpty, model_.assembleFile, text.span,
                  "an empty name at a " + Quoted(separator) + " of this template is dropped");
  }

  void checkNames(const PlacedText& text, const std::vector<std::string>& names) {
    const std::vector<Piece> pieces = namesOf(text);
    checkEmptyNames(text, pieces.size());
    if (pieces.empty()) {
      findings_.add(Code::kTemplateUnknownRecord, model_.assembleFile, text.span, "nothing but separators: no result");
    }
    std::set<std::string> seen;
    for (const Piece& piece : pieces) {
      if (!seen.insert(piece.text).second) {
        findings_.add(Code::kTermRepeated, model_.assembleFile, text.json.span(piece.offset, piece.text.size()),
                      "the value of this record is in the result twice");
        continue;
      }
      if (std::find(names.begin(), names.end(), piece.text) != names.end()) continue;
      const Span span = piece.text.empty() ? text.span : text.json.span(piece.offset, piece.text.size());
      const std::string meant = NearestTo(piece.text, names);
      Finding& finding =
          findings_.add(Code::kTemplateUnknownRecord, model_.assembleFile, span,
                        "no rule of the feature makes a record " + Quoted(piece.text) + DidYouMean(meant));
      if (!meant.empty() && !piece.text.empty()) finding.fix = Fix{span, meant};
    }
  }

  const RuleModel& model_;
  Findings& findings_;
};

}  // namespace

void CheckRecords(const RuleModel& model, Findings& findings) {
  RecordCheck check(model, findings);
  for (const PlacedEntry& entry : model.entries) check.checkEntry(entry);
  if (model.matchFile.isUsable()) check.checkTemplates();
}
