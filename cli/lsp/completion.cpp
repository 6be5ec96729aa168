#include <algorithm>
#include <set>

#include "cli/lsp/cursor.h"
#include "cli/lsp/features.h"
#include "cli/lsp/names.h"
#include "cli/output/json_text.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

// Kinds of completion items, by the protocol's numbers.
constexpr int kField = 5;
constexpr int kVariable = 6;
constexpr int kProperty = 10;
constexpr int kEnumMember = 20;
constexpr int kEventKind = 23;
constexpr int kOperator = 24;

struct Mark {
  std::string_view text;
  const char* meaning;
};
constexpr Mark kKeyWordMarks[] = {
    {kRegexMark, "At the beginning: the rest is a regular expression, searched for in the line."},
    {kOrMark, "Between texts: the line holds one of them."},
    {kAndMark, "Between texts: the line holds all of them, in this order."},
};
constexpr Mark kParamMarks[] = {
    {kLastMark, "The newest value replaces the older one, and the rule is never spent."},
    {kStackMark, "Nothing is searched in the line: from it on the pattern cuts a stack out of the log."},
};
constexpr Mark kFilterKeys[] = {
    {kStackKey, "The call stack. It is filtered and gives \"FINGERPRINT\" and the frames."},
    {kReasonKey, "The one key that values are appended to."},
    {kFrameKeys[0], "The first frame; without it the filter names one."},
    {kFrameKeys[1], "The second frame; without it the filter names one."},
    {kFrameKeys[2], "The last frame; without it the filter names one."},
};

class Completions {
 public:
  explicit Completions(const Spot& spot)
      : spot_(spot),
        document_(spot.project.document(spot.file)),
        cursor_(CursorAt(document_.text(), spot.offset, spot.file)),
        rules_(spot.project.lastUsable()) {}

  Json::Value all() {
    if (cursor_.isKey) {
      addKeys();
    } else if (!cursor_.member.empty()) {
      addValues();
    }
    Json::Value list;
    list["isIncomplete"] = false;
    list["items"] = items_;
    return list;
  }

 private:
  // `begin` is where the text in front of the place begins that the item replaces.
  void add(const std::string& text, int kind, std::string_view meaning, size_t begin) {
    if (!known_.insert(text).second) return;
    Json::Value item;
    const std::string written = cursor_.isInText ? JsonString(text) : "\"" + JsonString(text).substr(1);
    item["label"] = text;
    item["kind"] = kind;
    if (!meaning.empty()) item["documentation"] = std::string(meaning);
    item["filterText"] = cursor_.isInText ? text : written;
    item["textEdit"]["range"] = RangeJson(document_, {begin, spot_.offset});
    item["textEdit"]["newText"] = cursor_.isInText ? written.substr(1, written.size() - 2) : written;
    items_.append(item);
  }

  void addKeys() {
    for (const MemberRow& row : AllMemberRows()) {
      if (row.object != cursor_.object || row.nameForm == MemberRow::NameForm::kAny) continue;
      add(std::string(row.name), kProperty, row.meaning, cursor_.textBegin);
    }
    if (cursor_.object == ObjectKind::kTemplates) {
      for (const Mark& key : kFilterKeys) add(std::string(key.text), kProperty, key.meaning, cursor_.textBegin);
    }
    for (const PlacedEntry& entry : rules_.model.entries) {
      for (const PlacedId& id : entry.ids) {
        if (cursor_.object == ObjectKind::kAssembleRoot) {
          add(id.eventType, kEventKind, "An event type of the match file.", cursor_.textBegin);
        } else if (cursor_.object == ObjectKind::kSection && id.eventType == cursor_.keys.back()) {
          add(id.id, kEnumMember, "A feature id of " + entry.key + ".", cursor_.textBegin);
        }
      }
    }
  }

  void addValues() {
    const bool isRule = cursor_.object == ObjectKind::kPlainRule || cursor_.object == ObjectKind::kSegmentRule;
    if (cursor_.object == ObjectKind::kTemplates) {
      addTemplate();
    } else if (cursor_.member == "featureId") {
      addIds();
    } else if (isRule && !addVariable()) {
      addRuleValue();
    }
  }

  // The record name that is being typed begins behind the last separator.
  void addTemplate() {
    if (cursor_.keys.empty()) return;
    const size_t separator = cursor_.before.find_last_of("+:");
    const size_t begin = cursor_.textBegin + (separator == std::string::npos ? 0 : separator + 1);
    for (const PlacedEntry& entry : rules_.model.entries) {
      const bool isOurs = std::any_of(entry.ids.begin(), entry.ids.end(),
                                      [this](const PlacedId& id) { return id.id == cursor_.keys.back(); });
      if (isOurs) addRecords(entry, "", begin);
    }
  }

  void addIds() {
    const size_t comma = cursor_.before.rfind(kIdSeparator);
    const size_t begin = cursor_.textBegin + (comma == std::string::npos ? 0 : comma + 1);
    for (const auto& [type, section] : rules_.model.assembling) {
      for (const auto& [id, templates] : section) add(id, kEnumMember, "Event type " + type + ".", begin);
    }
  }

  const PlacedEntry* entry() const {
    if (cursor_.keys.empty()) return nullptr;
    for (const PlacedEntry& entry : rules_.model.entries) {
      if (entry.key == cursor_.keys.front()) return &entry;
    }
    return nullptr;
  }

  // Behind "@{": the records of the entry.
  bool addVariable() {
    const size_t open = cursor_.before.rfind(kOpenMark);
    if (open == std::string::npos || cursor_.before.find(kCloseMark, open) != std::string::npos) return false;
    const size_t begin = open + std::string_view(kOpenMark).size();
    const std::string_view behind = std::string_view(document_.text()).substr(spot_.offset);
    const bool isClosed = behind.substr(0, behind.find_first_of("\"@\n")).ends_with('}');
    if (entry() != nullptr) addRecords(*entry(), isClosed ? "" : kCloseMark, cursor_.textBegin + begin);
    return true;
  }

  void addRuleValue() {
    const size_t at = cursor_.before.rfind('@');
    const size_t begin =
        cursor_.textBegin + (at != std::string::npos && at + 3 > cursor_.before.size() ? at : cursor_.before.size());
    if (cursor_.member == "depend" && entry() != nullptr) {
      for (const PlacedRule& rule : entry()->rules) {
        add(rule.record.name, kVariable, "Any record of this rule.", cursor_.textBegin);
      }
      addRecords(*entry(), "", cursor_.textBegin);
    } else if (cursor_.member == "keyWords") {
      for (const Mark& mark : kKeyWordMarks) add(std::string(mark.text), kOperator, mark.meaning, begin);
    } else if (cursor_.member.starts_with(kParamPrefix)) {
      for (const Mark& mark : kParamMarks) add(std::string(mark.text), kOperator, mark.meaning, begin);
    }
    if (cursor_.member != "name") add(kOpenMark, kOperator, "The value of a record, \"@{rule.v_x}@\".", begin);
  }

  void addRecords(const PlacedEntry& entry, const std::string& ending, size_t begin) {
    for (const PlacedRule& rule : entry.rules) {
      for (const PlacedParam& param : rule.params) {
        add(rule.recordName(param) + ending, kField, param.pattern.text(), begin);
      }
    }
  }

  const Spot& spot_;
  const TextDocument& document_;
  Cursor cursor_;
  const RuleSnapshot& rules_;
  std::set<std::string> known_;
  Json::Value items_ = Json::Value(Json::arrayValue);
};

}  // namespace

Json::Value CompletionsAt(const Spot& spot) { return Completions(spot).all(); }
