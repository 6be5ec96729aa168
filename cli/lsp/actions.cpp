#include "cli/lsp/diagnostics.h"
#include "cli/lsp/features.h"
#include "cli/rule_files/member_table.h"

namespace {

bool Holds(Span outer, Span inner) { return outer.begin <= inner.begin && inner.end <= outer.end; }

// The innermost object around a place that may hold allowances; null when there is none.
const JsonNode* HolderOf(const JsonNode& node, ObjectKind kind, Span place) {
  for (const JsonMember& member : node.members) {
    const MemberRow* row = FindMemberRow(kind, member.key.text);
    if (row == nullptr || !member.isRead || !Holds({member.keySpan.begin, member.value.span.end}, place)) continue;
    if (const JsonNode* inner = HolderOf(member.value, row->inner, place)) return inner;
  }
  for (const JsonNode& element : node.elements) {
    if (!Holds(element.span, place)) continue;
    if (const JsonNode* inner = HolderOf(element, kind, place)) return inner;
  }
  const bool isHolder = node.kind == JsonNode::Kind::kObject && FindMemberRow(kind, kAllowMember) != nullptr;
  return isHolder ? &node : nullptr;
}

// Adds the code to the allowances of an object. The reason is left to the author; until there is one, `check` asks.
std::optional<Fix> AllowanceIn(const JsonNode& object, const std::string& text, const std::string& code) {
  const std::string entry = "\"" + code + ": \"";
  if (const JsonMember* allow = object.find(kAllowMember)) {
    const JsonNode& list = allow->value;
    if (list.kind != JsonNode::Kind::kArray) return std::nullopt;
    if (list.elements.empty()) return Fix{{list.span.begin + 1, list.span.begin + 1}, entry};
    const size_t end = list.elements.back().span.end;
    return Fix{{end, end}, ", " + entry};
  }
  if (object.members.empty()) return std::nullopt;
  const size_t begin = object.members.front().keySpan.begin;
  const std::string between = text.substr(object.span.begin + 1, begin - object.span.begin - 1);
  const bool isOnLineOfItsOwn = between.find('\n') != std::string::npos;
  return Fix{{begin, begin}, "\"$allow\": [" + entry + "]," + (isOnLineOfItsOwn ? between : " ")};
}

class Actions {
 public:
  Actions(Project& project, FileKind file) : project_(project), file_(file), document_(project.document(file)) {}

  void addFix(const Problem& problem) {
    if (!problem.fix) return;
    const auto& [span, text] = *problem.fix;
    const std::string old = document_.text().substr(span.begin, span.end - span.begin);
    const std::string title = text.empty()  ? "Remove " + old
                              : old.empty() ? "Insert " + text
                                            : "Replace " + old + " by " + text;
    add(title, problem, *problem.fix)["isPreferred"] = true;
  }

  // Errors are to be mended.
  void addAllowance(const Problem& problem) {
    const JsonFile& rules = project_.now().file(file_);
    if (problem.isError || !rules.isUsable() || problem.code == "allow-useless") return;
    const ObjectKind root = file_ == FileKind::kMatch ? ObjectKind::kMatchRoot : ObjectKind::kAssembleRoot;
    const JsonNode* holder = HolderOf(rules.tree, root, problem.span);
    if (holder == nullptr) return;
    const std::optional<Fix> edit = AllowanceIn(*holder, rules.text, problem.code);
    if (edit) add("Allow " + problem.code + " here, with a reason", problem, *edit);
  }

  Json::Value take() { return std::move(list_); }

 private:
  Json::Value& add(const std::string& title, const Problem& problem, const Fix& edit) {
    Json::Value change;
    change["range"] = RangeJson(document_, edit.span);
    change["newText"] = edit.text;
    Json::Value& action = list_.append(Json::Value());
    action["title"] = title;
    action["kind"] = "quickfix";
    action["diagnostics"].append(DiagnosticOf(project_, problem));
    action["edit"]["changes"][project_.uri(file_)].append(change);
    return action;
  }

  Project& project_;
  FileKind file_;
  const TextDocument& document_;
  Json::Value list_ = Json::Value(Json::arrayValue);
};

}  // namespace

Json::Value ActionsOf(Project& project, FileKind file, Span range, const std::vector<Problem>& problems) {
  Actions actions(project, file);
  for (const Problem& problem : problems) {
    if (problem.file != file || problem.span.end < range.begin || range.end < problem.span.begin) continue;
    actions.addFix(problem);
    actions.addAllowance(problem);
  }
  return actions.take();
}
