#include <string_view>
#include <unordered_map>

#include "cli/check/checks.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"

namespace {

using Kind = JsonNode::Kind;

std::string_view NameOf(Kind kind) {
  constexpr std::string_view kNames[] = {"null", "a boolean", "a number", "text", "an array", "an object"};
  return kNames[static_cast<size_t>(kind)];
}

class StructureCheck {
 public:
  StructureCheck(const JsonFile& file, Findings& findings) : file_(file), findings_(findings) {}

  // `key`: of the member that holds the object.
  void checkObject(const JsonNode& object, ObjectKind kind, Span key) {
    std::unordered_map<std::string_view, const JsonMember*> known;
    for (const JsonMember& member : object.members) {
      const auto [first, isNew] = known.try_emplace(member.key.text, &member);
      if (!isNew) addDuplicate(member, *first->second);
      if (member.isRead) checkMember(object, member, kind);
    }
    for (const MemberRow& row : AllMemberRows()) {
      if (row.object == kind && row.isRequired && object.find(row.name) == nullptr) {
        add(Code::kEntryIncomplete, key, "the frame entry has no " + Quoted(row.name) + " and is not used");
      }
    }
  }

 private:
  Finding& add(Code code, Span span, std::string message) {
    return findings_.add(code, file_, span, std::move(message));
  }

  // Whole objects and lists are lost for good, as are feature ids; of a value another one is left.
  void addDuplicate(const JsonMember& member, const JsonMember& first) {
    Finding& finding = add(Code::kDuplicateMember, member.keySpan,
                           "duplicate member " + Quoted(member.key.text) + ": it replaces the one in line " +
                               std::to_string(lines_.placeOf(first.keySpan.begin).line));
    const Kind lost = first.value.kind;
    if (lost == Kind::kObject || lost == Kind::kArray || member.key.text == "featureId") {
      finding.severity = Severity::kError;
    }
  }

  void addUnknown(const JsonNode& object, const JsonMember& member, ObjectKind kind) {
    const std::string& name = member.key.text;
    const std::string visible = WithoutInvisible(name);
    const bool isInvisible = visible != name && FindMemberRow(kind, visible) != nullptr;
    std::string meant = isInvisible ? visible : MeantName(kind, name);
    if (!meant.empty() && object.find(meant) != nullptr) meant.clear();
    Finding& finding = add(Code::kUnknownMember, member.keySpan,
                           "unknown member " + Quoted(name) + DidYouMean(meant) +
                               (isInvisible ? " There is an invisible character in this one" : ""));
    if (meant.empty()) return;
    finding.fix = Fix{member.keySpan, Quoted(meant)};
    // Without one of these a rule still does its work, if not quite as was meant.
    if (meant != "skip" && meant != "depend" && !meant.starts_with('$')) finding.severity = Severity::kError;
  }

  void checkMember(const JsonNode& object, const JsonMember& member, ObjectKind kind) {
    const std::string& name = member.key.text;
    const MemberRow* row = FindMemberRow(kind, name);
    if (kind == ObjectKind::kTemplates && name == kAllowMember) {
      add(Code::kValueType, member.keySpan,
          "all members here are results: the device process ends here; write it into the object around this one");
      return;
    }
    if (row == nullptr) {
      addUnknown(object, member, kind);
      return;
    }
    if (!row->isUsed) add(Code::kMemberUnused, member.keySpan, Quoted(name) + " is loaded, but nothing uses it");
    if (!row->needs.empty() && object.find(row->needs) == nullptr) {
      add(Code::kSegmentWithoutRules, member.keySpan,
          Quoted(name) + " is not read, because the entry has no " + Quoted(row->needs));
    }
    checkValue(*row, member);
  }

  void checkValue(const MemberRow& row, const JsonMember& member) {
    const std::string& name = member.key.text;
    const JsonNode& value = member.value;
    switch (row.value) {
      case ValueForm::kText:
        checkText(name, value);
        if (row.isRequired && value.kind == Kind::kString && HoldsNothing(value.text.text)) {
          add(Code::kEntryIncomplete, value.span, Quoted(name) + " is empty, so the frame entry is not used");
        }
        break;
      case ValueForm::kInteger:
        checkInteger(row, name, value);
        break;
      case ValueForm::kObject:
        if (value.kind == Kind::kObject) {
          checkObject(value, row.inner, member.keySpan);
        } else {
          addWrongType(name, value, "an object", "it is not read");
        }
        break;
      default:
        checkElements(row, name, value);
    }
  }

  // A list of ids is empty when it holds nothing but its separators.
  static bool HoldsNothing(const std::string& text) { return text.find_first_not_of(',') == std::string::npos; }

  void addWrongType(const std::string& name, const JsonNode& value, const char* wanted, const char* consequence) {
    add(Code::kValueType, value.span,
        Quoted(name) + " has to be " + wanted + ", not " + std::string(NameOf(value.kind)) + ": " + consequence);
  }

  void checkText(const std::string& name, const JsonNode& value) {
    if (value.kind == Kind::kString) return;
    if (value.kind == Kind::kObject || value.kind == Kind::kArray) {
      addWrongType(name, value, "text", "the device process ends here");
    } else {
      add(Code::kValueConverted, value.span,
          Quoted(name) + " has to be text; " + std::string(NameOf(value.kind)) + " is read as " +
              Quoted(value.value->asString()));
    }
  }

  void checkInteger(const MemberRow& row, const std::string& name, const JsonNode& value) {
    int number = 0;
    try {
      number = value.value->asInt();
    } catch (const Json::Exception&) {
      if (value.kind == Kind::kNumber) {
        add(Code::kValueType, value.span, Quoted(name) + " does not fit 32 bits: the device process ends here");
      } else {
        addWrongType(name, value, "a number", "the device process ends here");
      }
      return;
    }
    if (value.kind != Kind::kNumber || value.value->asDouble() != number) {
      add(Code::kValueConverted, value.span,
          Quoted(name) + " has to be a whole number; this is read as " + std::to_string(number));
    }
    if (number < 0) {
      add(Code::kNumberNegative, value.span,
          Quoted(name) +
              (name == "skip" ? " below 1 counts as " + std::to_string(kDefaultSkip) : " below 2 is one line"));
    }
    if (number > row.maximum) {
      add(Code::kNumInRules, value.span,
          Quoted(name) + " belongs to " + Quoted(kSegmentCommand) + ": this rule is refused");
    }
  }

  void checkElements(const MemberRow& row, const std::string& name, const JsonNode& value) {
    if (value.kind != Kind::kArray) {
      addWrongType(name, value, "an array", "it is not read");
      return;
    }
    if (value.elements.size() > kMaxElements) {
      add(Code::kArrayTooLong, value.elements[kMaxElements].span,
          Quoted(name) + " has " + std::to_string(value.elements.size()) + " elements; those after the first " +
              std::to_string(kMaxElements) + " are lost");
    }
    for (const JsonNode& element : value.elements) {
      if (row.value == ValueForm::kTexts) {
        checkText(name, element);
      } else if (element.kind == Kind::kObject) {
        checkObject(element, row.inner, element.span);
      } else {
        addWrongType(name, element, "an array of objects", "this element counts as an empty one");
      }
    }
  }

  const JsonFile& file_;
  Findings& findings_;
  const LineIndex lines_{file_.text};
};

}  // namespace

void CheckStructure(const JsonFile& file, ObjectKind root, Findings& findings) {
  if (!file.isJson) {
    Finding& finding = findings.add(Code::kJsonSyntax, file, file.fault.span, "not valid JSON: " + file.fault.text);
    if (file.fault.cure) finding.fix = Fix{file.fault.span, *file.fault.cure};
    return;
  }
  for (const JsonRemark& oddity : file.oddities) {
    findings.add(Code::kJsonLenient, file, oddity.span, oddity.text + " is not JSON, although the library reads it");
  }
  if (file.extra.end > file.extra.begin) {
    findings.add(Code::kJsonExtraText, file, file.extra, "the root value ends before this; all from here on is lost");
  }
  if (file.tree.kind != Kind::kObject) {
    findings.add(Code::kRootType, file, file.tree.span, "the root has to be an object; nothing is read of an array");
    return;
  }
  StructureCheck(file, findings).checkObject(file.tree, root, file.tree.span);
}
