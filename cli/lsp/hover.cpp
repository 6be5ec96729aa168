#include <algorithm>

#include "cli/lsp/cursor.h"
#include "cli/lsp/diagnostics.h"
#include "cli/lsp/features.h"
#include "cli/lsp/names.h"
#include "rules/rule_syntax.h"

namespace {

// A code span of Markdown that may hold backquotes.
std::string Code(const std::string& text) {
  const std::string fence = text.find('`') == std::string::npos ? "`" : "```";
  const std::string pad = fence.size() > 1 ? " " : "";
  return fence + pad + text + pad + fence;
}

std::string MeaningOf(KeyWordForm form) {
  switch (form) {
    case KeyWordForm::kText:
      return "Accepts a line that contains this text.";
    case KeyWordForm::kRegex:
      return "Accepts a line in which the regular expression finds a match, at any place.";
    case KeyWordForm::kOr:
      return "Accepts a line that contains any of the texts between the marks.";
    case KeyWordForm::kAnd:
      return "Accepts a line that contains all of the texts between the marks, in this order and without overlap.";
  }
  return "";
}

std::string MeaningOfPattern(const std::string& pattern) {
  if (IsStackPattern(pattern)) {
    return "Cuts a stack: from the first line at or after the accepted one in which the pattern matches, what matched "
           "is appended.";
  }
  const bool isLast = pattern.find(kLastMark) != std::string::npos;
  return std::string("Searched for in the accepted line; what its first group takes is the record.") +
         (isLast ? " The last value counts, and the rule stays." : "");
}

class Hover {
 public:
  Hover(const Spot& spot, const Survey& survey, const std::vector<Problem>& problems)
      : spot_(spot),
        survey_(survey),
        problems_(problems),
        document_(spot.project.document(spot.file)),
        rules_(spot.project.lastUsable()) {}

  Json::Value tell() {
    const Cursor cursor = CursorAt(document_.text(), spot_.offset, spot_.file);
    const std::string text = cursor.isInText ? textFrom(cursor.textBegin) : "";
    std::string markdown = cursor.isInText ? aboutText(cursor, text) : "";
    markdown += aboutProblems(markdown.empty() ? "" : "\n\n");
    if (markdown.empty()) return Json::nullValue;
    Json::Value hover;
    hover["contents"]["kind"] = "markdown";
    hover["contents"]["value"] = markdown;
    if (cursor.isInText) hover["range"] = RangeJson(document_, {cursor.textBegin, cursor.textBegin + text.size()});
    return hover;
  }

 private:
  // As it is written, up to the closing quote.
  std::string textFrom(size_t begin) const {
    const std::string& text = document_.text();
    size_t end = begin;
    while (end < text.size() && text[end] != '"' && text[end] != '\n') end += text[end] == '\\' ? 2 : 1;
    return text.substr(begin, std::min(end, text.size()) - begin);
  }

  std::string aboutText(const Cursor& cursor, const std::string& text) const {
    const std::string markdown = aboutNames();
    if (!markdown.empty()) return markdown;
    return cursor.isKey ? aboutMember(cursor, text) : aboutValue(cursor, text);
  }

  std::string aboutNames() const {
    std::string markdown;
    for (const NamePlace& place : NamesAt(NamesIn(rules_), spot_.file, spot_.offset)) {
      const std::string more = place.name.kind == NameKind::kParam  ? aboutRecord(place.name)
                               : place.name.kind == NameKind::kRule ? aboutRule(place.name)
                                                                    : aboutId(place.name);
      if (markdown.find(more) == std::string::npos) markdown += (markdown.empty() ? "" : "\n\n") + more;
    }
    return markdown;
  }

  const PlacedEntry* entryOf(const Name& name) const {
    for (const PlacedEntry& entry : rules_.model.entries) {
      if (entry.key == name.entry) return &entry;
    }
    return nullptr;
  }

  std::string aboutRecord(const Name& name) const {
    const PlacedEntry* entry = entryOf(name);
    if (entry == nullptr) return "";
    for (const PlacedRule& rule : entry->rules) {
      for (const PlacedParam& param : rule.params) {
        if (rule.record.name != name.rule || param.key != name.text) continue;
        const std::string record = rule.recordName(param);
        std::string markdown = "Record " + Code(record) + ": " + Code(param.pattern.text()) + "\n\n" +
                               MeaningOfPattern(param.pattern.text());
        for (const PlacedId& id : entry->ids) {
          const auto value = survey_.values.find({id.id, record});
          if (value != survey_.values.end()) markdown += "\n\nIn the pinned log: " + Code(value->second);
        }
        return markdown;
      }
    }
    return "";
  }

  std::string aboutRule(const Name& name) const {
    const PlacedEntry* entry = entryOf(name);
    if (entry == nullptr) return "";
    for (const PlacedRule& rule : entry->rules) {
      if (rule.record.name != name.text) continue;
      return "Rule " + Code(name.text) + " of " + Code(entry->key) + ": " + Code(rule.keyWords.text()) + "\n\n" +
             MeaningOf(FormOf(rule.keyWords.text()));
    }
    return "";
  }

  static std::string aboutId(const Name& name) {
    return "Feature id " + Code(name.text) + " of event type " + Code(EventTypeOf(name.text)) + ", priority " +
           Code(PriorityOf(name.text));
  }

  static std::string aboutMember(const Cursor& cursor, const std::string& key) {
    const MemberRow* row = FindMemberRow(cursor.object, key);
    return row != nullptr ? std::string(row->meaning) : "";
  }

  static std::string aboutValue(const Cursor& cursor, const std::string& text) {
    if (cursor.member == "keyWords") return MeaningOf(FormOf(text));
    if (cursor.member.starts_with(kParamPrefix)) return MeaningOfPattern(text);
    return aboutMember(cursor, cursor.member);
  }

  // What the findings here mean, for readers to whom the editor shows no link.
  std::string aboutProblems(std::string separator) const {
    std::string markdown;
    for (const Problem& problem : problems_) {
      const FindingCode* code = FindFindingCode(problem.code);
      const bool isHere = problem.span.begin <= spot_.offset && spot_.offset <= problem.span.end;
      if (problem.file != spot_.file || !isHere || code == nullptr) continue;
      markdown += separator + "**" + problem.code + "**: " + TextOf(*code).paragraph;
      separator = "\n\n";
    }
    return markdown;
  }

  const Spot& spot_;
  const Survey& survey_;
  const std::vector<Problem>& problems_;
  const TextDocument& document_;
  const RuleSnapshot& rules_;
};

}  // namespace

Json::Value HoverAt(const Spot& spot, const Survey& survey, const std::vector<Problem>& problems) {
  return Hover(spot, survey, problems).tell();
}
