#include <algorithm>
#include <map>

#include "cli/check/checks.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/spelling.h"
#include "rules/assemble_rule.h"

namespace {

// A place to name in a message.
std::string LineOf(const LineIndex& lines, Span span) {
  return "line " + std::to_string(lines.placeOf(span.begin).line);
}

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

bool HasEntry(const RuleModel& model, const std::string& id) {
  return std::any_of(model.entries.begin(), model.entries.end(), [&id](const PlacedEntry& entry) {
    return std::any_of(entry.ids.begin(), entry.ids.end(), [&id](const PlacedId& other) { return other.id == id; });
  });
}

void CheckSection(const RuleModel& model, const PlacedId& id, Findings& findings) {
  if (!model.assembleFile.isUsable() || model.templatesOf(id) != nullptr) return;
  std::vector<std::string> known;
  const auto section = model.assembling.find(id.eventType);
  const bool hasType = section != model.assembling.end();
  if (hasType) {
    // An id that another entry has is not what was meant.
    for (const auto& [name, templates] : section->second) {
      if (!HasEntry(model, name)) known.push_back(name);
    }
  } else {
    for (const auto& [name, ids] : model.assembling) known.push_back(name);
  }
  const std::string what = hasType ? "the assemble file has no templates for feature id " + Quoted(id.id)
                                   : "the assemble file has no event type " + Quoted(id.eventType) +
                                         ", to which feature id " + Quoted(id.id) + " belongs";
  findings.add(Code::kIdWithoutSection, model.matchFile, id.span,
               what + DidYouMean(NearestTo(hasType ? id.id : id.eventType, known)));
}

// Compares each id with those that are taken before it.
void CheckAgainstEarlier(const RuleModel& model, Findings& findings) {
  const LineIndex lines(model.matchFile.text);
  std::vector<const PlacedId*> earlier;
  for (const PlacedEntry& entry : model.entries) {
    const size_t entryBegin = earlier.size();
    for (const PlacedId& id : entry.ids) {
      for (size_t i = 0; i < earlier.size(); ++i) {
        const PlacedId& other = *earlier[i];
        const std::string whose = Quoted(other.id) + " in " + LineOf(lines, other.span);
        if (other.id == id.id) {
          findings.add(Code::kFeatureIdRepeated, model.matchFile, id.span,
                       "feature id " + whose + " is taken before this one");
        } else if (i >= entryBegin && other.eventType == id.eventType) {
          findings.add(Code::kEventTypeRepeated, model.matchFile, id.span,
                       "this entry has " + whose + " for the same event type: here every rule counts once more");
        } else if (!AssembleRule::comparePrio(other.id, id.id) && !AssembleRule::comparePrio(id.id, other.id)) {
          findings.add(Code::kPriorityTie, model.matchFile, id.span, "the same priority as " + whose);
        }
      }
      earlier.push_back(&id);
    }
  }
}

void CheckUnusedSections(const RuleModel& model, Findings& findings) {
  std::map<std::string, std::string> typeOf;  // of each feature id
  std::vector<std::string> ids;               // those without templates
  for (const PlacedEntry& entry : model.entries) {
    for (const PlacedId& id : entry.ids) {
      typeOf[id.id] = id.eventType;
      if (model.templatesOf(id) == nullptr) ids.push_back(id.id);
    }
  }
  for (const auto& [type, section] : model.assembling) {
    for (const auto& [id, templates] : section) {
      const auto known = typeOf.find(id);
      if (known == typeOf.end()) {
        // An id of nearly this name without templates is reported already.
        if (!NearestTo(id, ids).empty()) continue;
        findings.add(Code::kSectionUnused, model.assembleFile, templates.span,
                     "no frame entry has the feature id " + Quoted(id));
      } else if (known->second != type) {
        findings.add(Code::kSectionUnused, model.assembleFile, templates.span,
                     "feature id " + Quoted(id) + " belongs to event type " + Quoted(known->second) +
                         ", so its templates are not read here");
      }
    }
  }
}

}  // namespace

void CheckFeatures(const RuleModel& model, Findings& findings) {
  for (const PlacedEntry& entry : model.entries) {
    CheckDirectory(model, entry, findings);
    for (const PlacedId& id : entry.ids) CheckSection(model, id, findings);
  }
  CheckAgainstEarlier(model, findings);
  if (model.matchFile.isUsable()) CheckUnusedSections(model, findings);
}
