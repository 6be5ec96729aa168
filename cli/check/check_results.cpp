#include <algorithm>
#include <cctype>
#include <map>
#include <optional>
#include <string>

#include "cli/check/checks.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

// Keys with a meaning of their own.
constexpr const char* kKnownKeys[] = {kStackKey,     kFingerprintKey, kReasonKey,
                                      kFrameKeys[0], kFrameKeys[1],   kFrameKeys[2]};

// A key without what two spellings of it may differ in.
std::string Plain(const std::string& key) {
  std::string plain;
  for (const char c : key) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      plain += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
  }
  return plain;
}

bool IsUpper(const std::string& key) {
  return std::none_of(key.begin(), key.end(), [](char c) { return std::islower(static_cast<unsigned char>(c)) != 0; });
}

bool IsKnown(const std::string& key) {
  return std::find(std::begin(kKnownKeys), std::end(kKnownKeys), key) != std::end(kKnownKeys);
}

// The known key of which this one is another spelling.
std::optional<std::string> NearlyKnown(const std::string& key) {
  for (const char* known : kKnownKeys) {
    if (key != known && Plain(key) == Plain(known)) return known;
  }
  return std::nullopt;
}

// True when the letters of `part` stand in `whole` in their order, the first one in front: FST_FRAME in FIRST_FRAME.
bool IsShortFor(const std::string& part, const std::string& whole) {
  size_t met = 0;
  for (const char c : whole) met += met < part.size() && c == part[met] ? 1 : 0;
  return met == part.size() && whole.starts_with(part.front());
}

// The key with a meaning that was perhaps meant; `isStack`: the result is one, and no other result is.
std::string LikelyMeant(const std::string& key, bool isStack) {
  const std::string plain = Plain(key);
  for (const char* frame : kFrameKeys) {
    if (IsShortFor(Plain(frame), plain)) return frame;
  }
  if (isStack && (plain.starts_with(kStackKey) || EditDistance(plain, kStackKey) == 1)) return kStackKey;
  if (EditDistance(plain, kReasonKey) == 1) return kReasonKey;
  return EditDistance(plain, kFingerprintKey) <= 2 ? kFingerprintKey : "";
}

class ResultCheck {
 public:
  ResultCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void check(const std::string& type, const std::map<std::string, PlacedTemplates>& section) {
    bool hasStack = false;
    for (const auto& [id, templates] : section) hasStack = hasStack || find(templates, kStackKey) != nullptr;
    std::map<std::string, std::string> spelling;  // by plain form, the first key of the event type
    for (const auto& [id, templates] : section) {
      for (const PlacedTemplate& result : templates.templates) {
        checkSpelling(templates, result, spelling);
        const Records records = recordsOf(type, id, result);
        checkMeaning(templates, result, records.stacks > 0, hasStack);
        if (hasStack && result.key == kFingerprintKey) {
          findings_.add(Code::kKeyOverwritten, model_.assembleFile, result.keySpan,
                        "in a log with a stack its fingerprint is written over this value");
        }
        if (result.key == kStackKey) checkStack(records, result);
      }
    }
  }

 private:
  static const PlacedTemplate* find(const PlacedTemplates& templates, const char* key) {
    const auto found = std::find_if(templates.templates.begin(), templates.templates.end(),
                                    [key](const PlacedTemplate& result) { return result.key == key; });
    return found == templates.templates.end() ? nullptr : &*found;
  }

  void checkSpelling(const PlacedTemplates& templates, const PlacedTemplate& result,
                     std::map<std::string, std::string>& spelling) {
    const bool hasUpper = std::any_of(templates.templates.begin(), templates.templates.end(),
                                      [](const PlacedTemplate& other) { return IsUpper(other.key); });
    if (const std::optional<std::string> known = NearlyKnown(result.key)) {
      // Where all keys are written so, only that of the stack has lost something.
      if (!hasUpper && *known != kStackKey) return;
      Finding& finding = findings_.add(
          Code::kKeyCase, model_.assembleFile, result.keySpan,
          "did you mean " + Quoted(*known) + "? " +
              (*known == kStackKey ? "Only under that key is a stack filtered, named and given a fingerprint"
                                   : "This is another key, without the meaning of that one"));
      finding.fix = Fix{result.keySpan, Quoted(*known)};
      if (*known == kStackKey) finding.severity = Severity::kError;
      return;
    }
    if (result.key.empty() || result.key.front() == ' ' || result.key.back() == ' ') {
      findings_.add(Code::kKeyCase, model_.assembleFile, result.keySpan,
                    result.key.empty() ? "this key is empty" : "a blank is part of this key");
    }
    const auto [first, isNew] = spelling.try_emplace(Plain(result.key), result.key);
    if (isNew || first->second == result.key) return;
    findings_
        .add(Code::kKeyCase, model_.assembleFile, result.keySpan,
             "the same event type has the key " + Quoted(first->second) + "; these are two results")
        .fix = Fix{result.keySpan, Quoted(first->second)};
  }

  // A name of the author's own that is nearly one of those with a meaning, where the latter is missing.
  void checkMeaning(const PlacedTemplates& templates, const PlacedTemplate& result, bool isStack, bool hasStack) {
    if (NearlyKnown(result.key) || IsKnown(result.key)) return;
    const std::string meant = LikelyMeant(result.key, isStack && !hasStack);
    if (meant.empty() || find(templates, meant.c_str()) != nullptr) return;
    findings_
        .add(Code::kKeyCase, model_.assembleFile, result.keySpan,
             "did you mean " + Quoted(meant) + "? This key is like any other")
        .fix = Fix{result.keySpan, Quoted(meant)};
  }

  // How many of the records that a template names are stacks, and how many are values of a line.
  struct Records {
    size_t stacks = 0;
    size_t values = 0;
  };

  Records recordsOf(const std::string& type, const std::string& id, const PlacedTemplate& result) const {
    const std::string separator = SeparatorOf(result.text.text());
    std::vector<Piece> names{{0, result.text.text()}};
    if (!separator.empty()) names = PiecesOf(result.text.text(), separator);
    Records records;
    for (const PlacedEntry& entry : model_.entries) {
      if (std::none_of(entry.ids.begin(), entry.ids.end(),
                       [&](const PlacedId& other) { return other.id == id && other.eventType == type; })) {
        continue;
      }
      for (const PlacedRule& rule : entry.rules) {
        for (const PlacedParam& param : rule.params) {
          const std::string record = rule.recordName(param);
          const auto isRecord = [&record](const Piece& name) { return name.text == record; };
          if (std::none_of(names.begin(), names.end(), isRecord)) continue;
          ++(IsStackPattern(param.pattern.text()) ? records.stacks : records.values);
        }
      }
    }
    return records;
  }

  // Only what "@T@" cuts out of the log has the lines of a stack.
  void checkStack(const Records& records, const PlacedTemplate& result) {
    const bool isJoined = !SeparatorOf(result.text.text()).empty();
    if (records.values == 0 || (records.stacks > 0 && !isJoined)) return;
    const std::string message =
        records.stacks == 0
            ? "this record is a value of one line; a stack is cut by a parameter with " + Quoted(kStackMark)
            : "a value of one line is joined to the stack, as if it were a part of its frames";
    findings_.add(Code::kStackWithoutMark, model_.assembleFile, result.text.span, message);
  }

  const RuleModel& model_;
  Findings& findings_;
};

}  // namespace

void CheckResults(const RuleModel& model, Findings& findings) {
  ResultCheck check(model, findings);
  for (const auto& [type, section] : model.assembling) check.check(type, section);
}
