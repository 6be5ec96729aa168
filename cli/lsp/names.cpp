#include "cli/lsp/names.h"

#include <algorithm>

#include "cli/output/terminal.h"
#include "rules/rule_syntax.h"

namespace {

class NameFinder {
 public:
  explicit NameFinder(const RuleSnapshot& rules) : rules_(rules) {}

  std::vector<NamePlace> find() {
    for (const PlacedEntry& entry : rules_.model.entries) {
      addIds(entry);
      addRuleNames(entry);
      for (const PlacedRule& rule : entry.rules) addRule(entry, rule);
    }
    for (const auto& [type, section] : rules_.model.assembling) {
      for (const auto& [id, templates] : section) addTemplates(id, templates);
    }
    return std::move(places_);
  }

 private:
  void add(Name name, FileKind file, Span span, bool isDefinition) {
    places_.push_back({std::move(name), file, span, isDefinition});
  }

  void addIds(const PlacedEntry& entry) {
    for (const PlacedId& id : entry.ids) add({NameKind::kFeatureId, "", "", id.id}, FileKind::kMatch, id.span, true);
  }

  // The model has a rule's name, but not its place.
  void addRuleNames(const PlacedEntry& entry) {
    const JsonMember* member = rules_.matchFile.tree.find(entry.key);
    if (member == nullptr) return;
    for (const char* command : {kPlainCommand, kSegmentCommand}) {
      const JsonMember* list = member->value.find(command);
      if (list == nullptr) continue;
      for (const JsonNode& rule : list->value.elements) {
        const JsonMember* name = rule.find("name");
        if (name == nullptr || name->value.kind != JsonNode::Kind::kString || name->value.text.text.empty()) continue;
        const JsonText& text = name->value.text;
        add({NameKind::kRule, entry.key, "", text.text}, FileKind::kMatch, text.span(0, text.text.size()), true);
      }
    }
  }

  void addRule(const PlacedEntry& entry, const PlacedRule& rule) {
    for (const PlacedParam& param : rule.params) {
      const Span inner{param.keySpan.begin + 1, param.keySpan.end - 1};
      add({NameKind::kParam, entry.key, rule.record.name, param.key}, FileKind::kMatch, inner, true);
      addVariables(entry, param.pattern);
    }
    addVariables(entry, rule.keyWords);
    addVariables(entry, rule.depend);
    addDepend(entry, rule.depend);
  }

  void addVariables(const PlacedEntry& entry, const PlacedText& text) {
    for (const Variable& variable : VariablesOf(text.text())) {
      const size_t begin = variable.begin + std::string_view(kOpenMark).size();
      if (variable.isClosed) addRecord(entry, variable.name, text.json, begin, FileKind::kMatch);
    }
  }

  // Only whole names: a part of one may mean any record.
  void addDepend(const PlacedEntry& entry, const PlacedText& depend) {
    const std::string& text = depend.text();
    addRecord(entry, text, depend.json, 0, FileKind::kMatch);
    const bool isRule = std::any_of(entry.rules.begin(), entry.rules.end(),
                                    [&text](const PlacedRule& rule) { return rule.record.name == text; });
    if (isRule && !text.empty()) {
      add({NameKind::kRule, entry.key, "", text}, FileKind::kMatch, depend.json.span(0, text.size()), false);
    }
  }

  void addTemplates(const std::string& id, const PlacedTemplates& templates) {
    const Span inner{templates.span.begin + 1, templates.span.end - 1};
    add({NameKind::kFeatureId, "", "", id}, FileKind::kAssemble, inner, false);
    for (const PlacedEntry& entry : rules_.model.entries) {
      const bool isOurs =
          std::any_of(entry.ids.begin(), entry.ids.end(), [&id](const PlacedId& other) { return other.id == id; });
      if (!isOurs) continue;
      for (const PlacedTemplate& result : templates.templates) {
        for (const Piece& piece : RecordsInTemplate(result.text.text())) {
          addRecord(entry, piece.text, result.text.json, piece.offset, FileKind::kAssemble);
        }
      }
    }
  }

  // "rule.v_x": the name of a rule and that of its parameter.
  void addRecord(const PlacedEntry& entry, const std::string& record, const JsonText& text, size_t begin,
                 FileKind file) {
    for (const PlacedRule& rule : entry.rules) {
      for (const PlacedParam& param : rule.params) {
        if (rule.recordName(param) != record || rule.record.name.empty()) continue;
        const std::string& name = rule.record.name;
        add({NameKind::kRule, entry.key, "", name}, file, text.span(begin, name.size()), false);
        add({NameKind::kParam, entry.key, name, param.key}, file, text.span(begin + name.size() + 1, param.key.size()),
            false);
        return;
      }
    }
  }

  const RuleSnapshot& rules_;
  std::vector<NamePlace> places_;
};

}  // namespace

std::vector<NamePlace> NamesIn(const RuleSnapshot& rules) { return NameFinder(rules).find(); }

std::vector<NamePlace> NamesAt(const std::vector<NamePlace>& places, FileKind file, size_t offset) {
  std::vector<NamePlace> found;
  for (const NamePlace& place : places) {
    if (place.file == file && place.span.begin <= offset && offset <= place.span.end) found.push_back(place);
  }
  return found;
}

std::vector<std::string> RecordsOf(const PlacedEntry& entry) {
  std::vector<std::string> names;
  for (const PlacedRule& rule : entry.rules) {
    for (const PlacedParam& param : rule.params) names.push_back(rule.recordName(param));
  }
  return names;
}

std::string WhyNoName(NameKind kind, const std::string& text) {
  if (text.empty()) return "a name cannot be empty";
  const bool hasControl = std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < ' '; });
  if (hasControl || text.find_first_of("\"\\@+:, ") != std::string::npos) {
    return "a name cannot hold blanks, quotes, backslashes, \"@\", \"+\", \":\" or \",\"";
  }
  if (kind == NameKind::kParam &&
      (!text.starts_with(kParamPrefix) || text.size() == std::string(kParamPrefix).size())) {
    return "the name of a parameter begins with " + Quoted(kParamPrefix);
  }
  if (kind == NameKind::kFeatureId && EventTypeOf(text).empty()) {
    return "a feature id is a prefix, \"_\", the event type, \"_\" and a suffix";
  }
  return "";
}

std::vector<Piece> RecordsInTemplate(const std::string& text) {
  const std::string separator = SeparatorOf(text);
  return separator.empty() ? std::vector<Piece>{{0, text}} : PiecesOf(text, separator);
}
