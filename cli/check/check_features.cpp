#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "cli/check/checks.h"
#include "cli/check/text_set.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

// The directory is part of the expression of the path test.
void CheckDirectory(const RuleModel& model, const PlacedEntry& entry, Findings& findings) {
  const std::string& dir = entry.dirOrFile.text();
  if (entry.subcataLog.text().empty()) return;
  for (size_t i = 0; i < dir.size(); ++i) {
    if (dir[i] == '\\') {
      ++i;
    } else if (dir[i] == '.' &&
               (i + 1 == dir.size() || std::string_view("*+?{").find(dir[i + 1]) == std::string::npos)) {
      findings.add(Code::kDirDot, model.matchFile, entry.dirOrFile.json.span(i, 1),
                   "with \"subcataLog\", a \".\" in \"dirOrFile\" stands for any byte; write \"\\\\.\"");
      return;
    }
  }
}

// Whether one log can be accepted by both entries; true also where that cannot be decided.
bool MayMeet(const PlacedEntry& a, const PlacedEntry& b) {
  const auto pathsOf = [](const PlacedEntry& entry) {
    std::vector<std::optional<TextSet>> sets;
    const std::string& dir = entry.dirOrFile.text();
    for (const Piece& path : PiecesOf(entry.subcataLog.text(), std::string(kOrMark))) {
      sets.push_back(TextSet::matchedBy(dir + (dir.ends_with('/') ? "" : "/") + path.text));
    }
    return sets;
  };
  std::vector<std::optional<TextSet>> ofA = pathsOf(a);
  std::vector<std::optional<TextSet>> ofB = pathsOf(b);
  if (ofA.empty() || ofB.empty()) return true;  // one file, whatever the path of the log
  for (std::optional<TextSet>& one : ofA) {
    for (std::optional<TextSet>& other : ofB) {
      if (!one || !other) return true;
      const TextFound found = FindText(
          {&*one, &*other}, [](const std::vector<bool>& in) { return in[0] && in[1]; }, kMaxLineLen);
      if (found.text || !found.isCertain) return true;
    }
  }
  return false;
}

// The feature ids of both files.
class IdCheck {
 public:
  IdCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {
    for (const PlacedEntry& entry : model.entries) {
      for (const PlacedId& id : entry.ids) {
        typeOf_[id.id] = id.eventType;
        types_.insert(id.eventType);
      }
    }
  }

  void check() {
    if (model_.assembleFile.isUsable()) {
      findMisspeltTypes();
      for (const PlacedEntry& entry : model_.entries) {
        for (const PlacedId& id : entry.ids) checkSection(id);
      }
    }
    for (const PlacedEntry& entry : model_.entries) checkAgainstEarlier(entry);
    if (model_.matchFile.isUsable()) checkUnusedSections();
  }

 private:
  std::string lineOf(Span span) const { return "line " + std::to_string(model_.matchLines->placeOf(span.begin).line); }

  // Sections under a name that is nearly an event type which has none.
  void findMisspeltTypes() {
    std::vector<std::string> missing;
    for (const std::string& type : types_) {
      if (!model_.assembling.contains(type)) missing.push_back(type);
    }
    for (const JsonMember& section : model_.assembleFile.tree.members) {
      const std::string& name = section.key.text;
      const auto templates = model_.assembling.find(name);
      if (!section.isRead || types_.contains(name) || templates == model_.assembling.end()) continue;
      std::string meant = NearestTo(name, missing);
      for (const auto& [id, unused] : templates->second) {
        const auto known = typeOf_.find(id);
        if (known != typeOf_.end() && !model_.assembling.contains(known->second)) meant = known->second;
      }
      if (meant.empty()) continue;
      misspelt_[name] = meant;
      findings_
          .add(Code::kIdWithoutSection, model_.assembleFile, section.keySpan,
               "no feature id has the event type " + Quoted(name) + DidYouMean(meant))
          .fix = Fix{section.keySpan, Quoted(meant)};
    }
  }

  bool isReported(const std::string& type) const {
    return std::any_of(misspelt_.begin(), misspelt_.end(), [&type](const auto& pair) { return pair.second == type; });
  }

  void checkSection(const PlacedId& id) {
    if (const PlacedTemplates* templates = model_.templatesOf(id)) {
      if (isEmptyObject(id)) {
        findings_.add(Code::kIdWithoutSection, model_.assembleFile, templates->span,
                      "without a template this feature yields nothing");
      }
      return;
    }
    if (isReported(id.eventType)) return;
    std::vector<std::string> known;
    const auto section = model_.assembling.find(id.eventType);
    const bool hasType = section != model_.assembling.end();
    if (hasType) {
      // An id that another entry has is not what was meant.
      for (const auto& [name, templates] : section->second) {
        if (!typeOf_.contains(name)) known.push_back(name);
      }
    } else {
      for (const auto& [name, ids] : model_.assembling) known.push_back(name);
    }
    const std::string what = hasType ? "the assemble file has no templates for feature id " + Quoted(id.id)
                                     : "the assemble file has no event type " + Quoted(id.eventType) +
                                           ", to which feature id " + Quoted(id.id) + " belongs";
    findings_.add(Code::kIdWithoutSection, model_.matchFile, id.span,
                  what + WhyNoId(id.id) + DidYouMean(NearestTo(hasType ? id.id : id.eventType, known)));
  }

  static std::string WhyNoId(const std::string& id) {
    if (id.find_first_of(";| ") != std::string::npos) return "; ids are separated by \",\" alone";
    return id.find('_') == std::string::npos ? "; an id is a name, its event type and a priority, joined by \"_\"" : "";
  }

  bool isEmptyObject(const PlacedId& id) const {
    const JsonMember* section = model_.assembleFile.tree.find(id.eventType);
    const JsonMember* templates = section == nullptr ? nullptr : section->value.find(id.id);
    return templates != nullptr && templates->value.kind == JsonNode::Kind::kObject && templates->value.members.empty();
  }

  struct Taken {
    const PlacedEntry* entry;
    const PlacedId* id;
  };

  // Compares the ids of an entry with those that are taken before them.
  void checkAgainstEarlier(const PlacedEntry& entry) {
    std::map<std::string, const PlacedId*> ofType;
    for (const PlacedId& id : entry.ids) {
      std::vector<Taken>& same = byPriority_[PriorityOf(id.id)];
      for (const Taken& other : same) {
        if (other.id->id != id.id) {
          add(Code::kPriorityTie, id, "the same priority as " + named(*other.id));
        } else if (other.entry == &entry) {
          add(Code::kFeatureIdRepeated, id, "feature id " + named(*other.id) + " is taken before this one");
        } else if (MayMeet(*other.entry, entry)) {
          add(Code::kFeatureIdRepeated, id,
              "a log that fits both entries gets the rules of the one in " + lineOf(other.id->span));
        }
      }
      same.push_back({&entry, &id});
      const auto [first, isNew] = ofType.try_emplace(id.eventType, &id);
      if (!isNew && first->second->id != id.id) {
        add(Code::kEventTypeRepeated, id,
            "this entry has " + named(*first->second) + " for the same event type: here every rule counts once more");
      }
    }
  }

  std::string named(const PlacedId& id) const { return Quoted(id.id) + " in " + lineOf(id.span); }

  void add(Code code, const PlacedId& id, std::string message) {
    findings_.add(code, model_.matchFile, id.span, std::move(message));
  }

  void checkUnusedSections() {
    std::vector<std::string> ids;  // those without templates
    for (const PlacedEntry& entry : model_.entries) {
      for (const PlacedId& id : entry.ids) {
        if (model_.templatesOf(id) == nullptr) ids.push_back(id.id);
      }
    }
    for (const auto& [type, section] : model_.assembling) {
      if (misspelt_.contains(type)) continue;
      for (const auto& [id, templates] : section) {
        const auto known = typeOf_.find(id);
        if (known == typeOf_.end()) {
          // An id of nearly this name without templates is reported already.
          if (!NearestTo(id, ids).empty()) continue;
          findings_.add(Code::kSectionUnused, model_.assembleFile, templates.span,
                        "no frame entry has the feature id " + Quoted(id));
        } else if (known->second != type) {
          findings_.add(Code::kSectionUnused, model_.assembleFile, templates.span,
                        "feature id " + Quoted(id) + " belongs to event type " + Quoted(known->second) +
                            ", so its templates are not read here");
        }
      }
    }
  }

  const RuleModel& model_;
  Findings& findings_;
  std::map<std::string, std::string> typeOf_;  // of each feature id
  std::set<std::string> types_;
  std::map<std::string, std::string> misspelt_;  // an event type of the assemble file and the one that was meant
  std::map<std::string, std::vector<Taken>> byPriority_;
};

}  // namespace

void CheckFeatures(const RuleModel& model, Findings& findings) {
  for (const PlacedEntry& entry : model.entries) {
    CheckDirectory(model, entry, findings);
    if (!entry.rules.empty() || entry.ids.empty() || !entry.hasAllRules) continue;
    findings.add(Code::kEntryIncomplete, model.matchFile, entry.keySpan, "without a rule this entry yields nothing");
  }
  IdCheck(model, findings).check();
}
