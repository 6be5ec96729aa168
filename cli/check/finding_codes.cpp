#include "cli/check/finding_codes.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <vector>

#include "cli/output/lines.h"

// docs/checks.md, embedded when the program is built.
extern const std::string_view kChecksPage;

namespace {

constexpr Severity kError = Severity::kError;
constexpr Severity kWarning = Severity::kWarning;

constexpr FindingCode kCodes[] = {
    // --- The files ---
    {Code::kJsonSyntax, "json-syntax", kError},
    {Code::kJsonLenient, "json-lenient", kWarning},
    {Code::kJsonExtraText, "json-extra-text", kError},
    {Code::kRootType, "root-type", kError},
    {Code::kValueType, "value-type", kError},
    {Code::kValueConverted, "value-converted", kWarning},
    {Code::kDuplicateMember, "duplicate-member", kWarning},
    {Code::kUnknownMember, "unknown-member", kWarning},
    {Code::kMemberUnused, "member-unused", kWarning},
    {Code::kAllowUseless, "allow-useless", kWarning},
    {Code::kArrayTooLong, "array-too-long", kError},
    // --- Frame entries ---
    {Code::kNumInRules, "num-in-rules", kError},
    {Code::kNumberNegative, "number-negative", kWarning},
    {Code::kSegmentWithoutRules, "segment-without-rules", kError},
    {Code::kEntryIncomplete, "entry-incomplete", kError},
    {Code::kDirDot, "dir-dot", kWarning},
    {Code::kPathNeverFits, "path-never-fits", kError},
    {Code::kPathLikely, "path-unlikely", kWarning},
    // --- Feature ids ---
    {Code::kIdWithoutSection, "id-without-section", kError},
    {Code::kSectionUnused, "section-unused", kError},
    {Code::kFeatureIdRepeated, "feature-id-repeated", kWarning},
    {Code::kEventTypeRepeated, "event-type-repeated", kWarning},
    {Code::kPriorityTie, "priority-tie", kWarning},
    // --- Keywords ---
    {Code::kKeywordsEmpty, "keywords-empty", kWarning},
    {Code::kTermEmpty, "term-empty", kWarning},
    {Code::kTermRepeated, "term-repeated", kWarning},
    {Code::kMarksMixed, "marks-mixed", kWarning},
    {Code::kRegexMarkInside, "regex-mark-inside", kError},
    {Code::kMarkBroken, "mark-broken", kError},
    {Code::kMarkUseless, "mark-useless", kWarning},
    {Code::kPlainExpression, "plain-expression", kError},
    {Code::kNeverMatches, "rule-never-matches", kError},
    {Code::kControlCharacter, "control-character", kError},
    {Code::kRuleUnreachable, "rule-unreachable", kError},
    {Code::kRuleShadowed, "rule-shadowed", kWarning},
    // --- Expressions and parameters ---
    {Code::kRegexInvalid, "regex-invalid", kError},
    {Code::kRegexNotPortable, "regex-not-portable", kError},
    {Code::kRegexLeft, "regex-left", kWarning},
    {Code::kRegexUnlikely, "regex-unlikely", kWarning},
    {Code::kParamWithoutGroup, "param-without-group", kWarning},
    {Code::kParamNever, "param-never-matches", kError},
    {Code::kValueEmpty, "value-empty", kError},
    {Code::kValueMayBeEmpty, "value-may-be-empty", kWarning},
    {Code::kLaterGroup, "later-group", kWarning},
    {Code::kStackKeepsPrefix, "stack-keeps-prefix", kWarning},
    {Code::kStackWithoutCauses, "stack-without-causes", kWarning},
    // --- Records ---
    {Code::kDependUnmet, "depend-unmet", kError},
    {Code::kVariableUnmet, "variable-unmet", kError},
    {Code::kVariableUnclosed, "variable-unclosed", kError},
    {Code::kVariableRepeated, "variable-repeated", kWarning},
    {Code::kVariableOfStack, "variable-of-stack", kWarning},
    {Code::kVariableInExpression, "variable-in-expression", kError},
    {Code::kRuleNameRepeated, "rule-name-repeated", kWarning},
    {Code::kRecordUnused, "record-unused", kWarning},
    // --- Templates ---
    {Code::kTemplateUnknownRecord, "template-unknown-record", kError},
    {Code::kTemplateMixed, "template-mixed", kWarning},
    {Code::kStackWithoutMark, "stack-without-mark", kWarning},
    {Code::kKeyOverwritten, "key-overwritten", kWarning},
    {Code::kKeyCase, "key-case", kWarning},
};

constexpr bool IsInOrder() {
  for (size_t i = 0; i < std::size(kCodes); ++i) {
    if (kCodes[i].code != static_cast<Code>(i)) return false;
  }
  return true;
}
static_assert(IsInOrder(), "DescriptionOf looks codes up by their number");

constexpr std::string_view kCodeIndent = "    ";

// The cells of a row of the page's table: "| [name](#name) | severity | summary |", where "\\|" is a "|".
std::vector<std::string> CellsOf(std::string_view row) {
  std::vector<std::string> cells(1);
  for (size_t i = 2; i < row.size(); ++i) {
    if (row.substr(i, 2) == "\\|") {
      cells.back() += row[++i];
    } else if (row.substr(i, 3) == " | " || row.substr(i) == " |") {
      cells.emplace_back();
      i += 2;
    } else {
      cells.back() += row[i];
    }
  }
  return cells;
}

// Reads the page: a table of all codes, then for each a section of prose, "Wrong:", code, "Right:", code.
class PageReader {
 public:
  std::map<std::string, FindingText, std::less<>> read(std::string_view page) {
    ForEachLine(page, [this](size_t, std::string_view line) { readLine(line); });
    for (auto& [name, text] : texts_) {
      for (std::string* part : {&text.paragraph, &text.wrong, &text.right}) {
        part->erase(part->find_last_not_of('\n') + 1);
      }
    }
    return std::move(texts_);
  }

 private:
  void readLine(std::string_view line) {
    if (line.starts_with("| [")) {
      const std::vector<std::string> cells = CellsOf(line);
      FindingText& text = texts_[cells[0].substr(1, cells[0].find(']') - 1)];
      text.severity = cells.at(1);
      text.summary = cells.at(2);
    } else if (line.starts_with("## ")) {
      text_ = &texts_[std::string(line.substr(3))];
      part_ = &text_->paragraph;
    } else if (text_ == nullptr) {
      return;
    } else if (line == "Wrong:" || line == "Right:") {
      part_ = line == "Wrong:" ? &text_->wrong : &text_->right;
    } else if (!line.empty() || !part_->empty()) {
      if (line.starts_with(kCodeIndent)) line.remove_prefix(kCodeIndent.size());
      part_->append(line).append("\n");
    }
  }

  std::map<std::string, FindingText, std::less<>> texts_;
  FindingText* text_ = nullptr;  // of the section
  std::string* part_ = nullptr;  // of the text
};

void PrintIndented(std::string_view lines, std::ostream& out) {
  ForEachLine(lines, [&out](size_t, std::string_view line) { out << kCodeIndent << line << '\n'; });
}

}  // namespace

std::span<const FindingCode> AllFindingCodes() { return kCodes; }

const FindingCode& DescriptionOf(Code code) { return kCodes[static_cast<size_t>(code)]; }

const FindingCode* FindFindingCode(std::string_view name) {
  const auto* row = std::find_if(std::begin(kCodes), std::end(kCodes),
                                 [name](const FindingCode& candidate) { return candidate.name == name; });
  return row == std::end(kCodes) ? nullptr : row;
}

std::string_view NameOf(Severity severity) { return severity == kError ? "error" : "warning"; }

const std::map<std::string, FindingText, std::less<>>& AllFindingTexts() {
  static const auto kTexts = PageReader().read(kChecksPage);
  return kTexts;
}

const FindingText& TextOf(const FindingCode& code) { return AllFindingTexts().find(code.name)->second; }

void PrintWhy(const FindingCode& code, std::ostream& out) {
  const FindingText& text = TextOf(code);
  out << code.name << " (" << NameOf(code.severity) << "): " << text.summary << "\n\n"
      << text.paragraph << "\n\nWrong:\n\n";
  PrintIndented(text.wrong, out);
  out << "\nRight:\n\n";
  PrintIndented(text.right, out);
}

void PrintCodesAsMarkdown(std::ostream& out) { out << kChecksPage; }
