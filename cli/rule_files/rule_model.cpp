#include "cli/rule_files/rule_model.h"

#include <algorithm>

#include "cli/rule_files/member_table.h"
#include "cli/rule_files/rule_texts.h"
#include "rules/rule_syntax.h"

namespace {

// What the library makes of a value where it wants text. A value that ends the process there is empty here.
PlacedText TextOf(const JsonNode& node) {
  PlacedText text{node.text, node.span, true};
  if (node.kind == JsonNode::Kind::kString) return text;
  text.isKnown = node.kind != JsonNode::Kind::kObject && node.kind != JsonNode::Kind::kArray;
  if (text.isKnown && node.value != nullptr) text.json.text = node.value->asString();
  text.json.offsets.assign(text.json.text.size() + 1, node.span.begin);
  return text;
}

PlacedText MemberText(const JsonNode& object, std::string_view name) {
  const JsonMember* member = object.find(name);
  if (member != nullptr) return TextOf(member->value);
  return {{"", {object.span.begin}}, {object.span.begin, object.span.begin + 1}, false};
}

// 0 for a member that is missing or cannot be read as a number.
int NumberOf(const JsonNode& object, std::string_view name) {
  const JsonMember* member = object.find(name);
  return member != nullptr && member->value.value->isInt() ? member->value.value->asInt() : 0;
}

// The elements of the array `name`; none when it is missing or not an array.
const std::vector<JsonNode>& MemberElements(const JsonNode& object, std::string_view name) {
  static const std::vector<JsonNode> kNone;
  const JsonMember* member = object.find(name);
  return member == nullptr ? kNone : member->value.elements;
}

bool HasMisspelt(const JsonNode& rule, std::string_view name) {
  return std::any_of(rule.members.begin(), rule.members.end(), [name](const JsonMember& member) {
    return FindMemberRow(ObjectKind::kPlainRule, member.key.text) == nullptr &&
           MeantName(ObjectKind::kPlainRule, member.key.text) == name;
  });
}

PlacedRule RuleOf(const JsonNode& node, const std::string& command) {
  PlacedRule rule{.record = {},
                  .name = MemberText(node, "name"),
                  .isRefused = IsRefused(command, NumberOf(node, "num")),
                  .span = node.span,
                  .depend = MemberText(node, "depend"),
                  .keyWords = MemberText(node, "keyWords"),
                  .params = {}};
  if (!rule.keyWords.isPresent) rule.keyWords.isKnown = !HasMisspelt(node, "keyWords");
  rule.record.num = NumberOf(node, "num");
  rule.record.name = rule.name.text();
  rule.record.depend = rule.depend.text();
  rule.record.keyWords = rule.keyWords.text();
  rule.record.command = command;
  for (const JsonMember& member : node.members) {
    if (!member.key.text.starts_with(kParamPrefix) || !member.isRead) continue;
    rule.params.push_back({member.key.text, member.keySpan, TextOf(member.value)});
    rule.record.params[member.key.text] = rule.params.back().pattern.text();
  }
  return rule;
}

PlacedEntry EntryOf(const JsonMember& member) {
  PlacedEntry entry{.key = member.key.text,
                    .keySpan = member.keySpan,
                    .dirOrFile = MemberText(member.value, "dirOrFile"),
                    .subcataLog = MemberText(member.value, "subcataLog"),
                    .ids = {},
                    .rules = {}};
  const PlacedText ids = MemberText(member.value, "featureId");
  for (const Piece& id : PiecesOf(ids.text(), kIdSeparator)) {
    entry.ids.push_back({id.text, EventTypeOf(id.text), ids.json.span(id.offset, id.text.size())});
  }
  for (const char* command : {kPlainCommand, kSegmentCommand}) {
    for (const JsonNode& element : MemberElements(member.value, command)) {
      if (element.kind == JsonNode::Kind::kObject) entry.rules.push_back(RuleOf(element, command));
      entry.hasAllRules = entry.hasAllRules && element.kind == JsonNode::Kind::kObject;
    }
    const JsonMember* list = member.value.find(command);
    entry.hasAllRules = entry.hasAllRules && (list == nullptr || list->value.kind == JsonNode::Kind::kArray);
  }
  return entry;
}

}  // namespace

RuleModel::RuleModel(const JsonFile& match, const JsonFile& assemble)
    : matchFile(match), assembleFile(assemble), matchLines(std::make_shared<LineIndex>(match.text)) {
  for (const JsonMember& member : match.tree.members) {
    const MemberRow* row = FindMemberRow(ObjectKind::kMatchRoot, member.key.text);
    const bool isEntry = row != nullptr && row->inner == ObjectKind::kFrameEntry;
    if (isEntry && member.isRead) entries.push_back(EntryOf(member));
  }
  std::sort(entries.begin(), entries.end(), [](const PlacedEntry& a, const PlacedEntry& b) { return a.key < b.key; });
  for (const JsonMember& section : assemble.tree.members) {
    if (!section.isRead) continue;
    for (const JsonMember& id : section.value.members) {
      if (!id.isRead || id.key.text.starts_with('$')) continue;
      PlacedTemplates& templates = assembling[section.key.text][id.key.text];
      templates.span = id.keySpan;
      for (const JsonMember& result : id.value.members) {
        if (result.isRead) {
          templates.templates.push_back({result.key.text, result.keySpan, TextOf(result.value)});
        }
      }
    }
  }
}

RuleModel::RuleModel(const RuleModel& whole, const PlacedEntry& entry)
    : matchFile(whole.matchFile), assembleFile(whole.assembleFile), matchLines(whole.matchLines), entries({entry}) {
  for (const PlacedId& id : entry.ids) {
    const PlacedTemplates* templates = whole.templatesOf(id);
    if (templates != nullptr) assembling[id.eventType][id.id] = *templates;
  }
}

const PlacedTemplates* RuleModel::templatesOf(const PlacedId& id) const {
  const auto section = assembling.find(id.eventType);
  if (section == assembling.end()) return nullptr;
  const auto templates = section->second.find(id.id);
  return templates == section->second.end() ? nullptr : &templates->second;
}
