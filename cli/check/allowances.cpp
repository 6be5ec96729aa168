#include "cli/check/allowances.h"

#include <algorithm>
#include <string>

#include "cli/output/terminal.h"
#include "cli/rule_files/member_table.h"
#include "cli/rule_files/spelling.h"

namespace {

class Allowances {
 public:
  Allowances(const JsonFile& file, std::vector<Finding>& findings) : file_(file), findings_(findings) {}

  // The innermost object counts first.
  void apply(const JsonNode& node, Span place) {
    for (const JsonMember& member : node.members) {
      if (member.isRead) apply(member.value, {member.keySpan.begin, member.value.span.end});
    }
    for (const JsonNode& element : node.elements) apply(element, element.span);
    const JsonMember* allow = node.find(kAllowMember);
    if (allow == nullptr) return;
    for (const JsonNode& text : allow->value.elements) {
      if (text.kind == JsonNode::Kind::kString) applyOne(text, place);
    }
  }

 private:
  void applyOne(const JsonNode& node, Span place) {
    const std::string& text = node.text.text;
    const size_t colon = std::min(text.find(':'), text.size());
    const std::string name = text.substr(0, colon);
    const FindingCode* code = FindFindingCode(name);
    if (code == nullptr) {
      std::vector<std::string> names;
      for (const FindingCode& known : AllFindingCodes()) names.emplace_back(known.name);
      add(node, "there is no finding " + Quoted(name) + DidYouMean(NearestTo(name, names)));
      return;
    }
    if (text.find_first_not_of(": ", colon) == std::string::npos) {
      add(node, "no reason stands behind the code; write " + Quoted(name + ": ..."));
      return;
    }
    const auto isAllowed = [&](const Finding& finding) {
      return finding.code == code->code && finding.file == &file_ && finding.span.begin >= place.begin &&
             finding.span.end <= place.end;
    };
    if (std::erase_if(findings_, isAllowed) == 0) add(node, "this allows nothing: there is no such finding here");
  }

  void add(const JsonNode& node, std::string message) {
    const FindingCode& code = DescriptionOf(Code::kAllowUseless);
    findings_.push_back({code.code, code.severity, &file_, node.span, std::move(message), std::nullopt});
  }

  const JsonFile& file_;
  std::vector<Finding>& findings_;
};

}  // namespace

void ApplyAllowances(const JsonFile& file, std::vector<Finding>& findings) {
  if (file.isUsable()) Allowances(file, findings).apply(file.tree, file.tree.span);
}
