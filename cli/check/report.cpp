#include "cli/check/report.h"

#include <json/json.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cwchar>
#include <map>
#include <ostream>

#include "cli/output/json_text.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"

namespace {

constexpr size_t kMaxColumns = 120;  // characters of a line of the file that are shown

// The lines of each file, made once.
class LinesOfFiles {
 public:
  const LineIndex& operator[](const JsonFile* file) { return indexes_.try_emplace(file, file->text).first->second; }

 private:
  std::map<const JsonFile*, LineIndex> indexes_;
};

// The columns that a character takes on a terminal.
int WidthOf(std::string_view character) {
  static const locale_t kUtf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (character.size() == 1 || kUtf8 == nullptr) return 1;
  const locale_t before = uselocale(kUtf8);
  wchar_t wide = 0;
  std::mbstate_t state{};
  const bool isRead = std::mbrtowc(&wide, character.data(), character.size(), &state) == character.size();
  const int width = isRead ? wcwidth(wide) : 1;
  uselocale(before);
  return width < 0 ? 1 : width;
}

// A line of a file cut to what can be shown, and what stands below it.
struct Excerpt {
  std::string line;
  std::string carets;
};

// A part of a long line in which all that is shown of it lies, so that nobody walks through the rest.
constexpr size_t kMaxNear = 8 * kMaxColumns;  // bytes on each side

bool IsInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xc0) == 0x80; }

Excerpt ExcerptOf(std::string_view line, size_t from, size_t to) {
  size_t cut = from > kMaxNear ? from - kMaxNear : 0;
  while (cut > 0 && IsInsideCharacter(line[cut])) --cut;
  line.remove_prefix(cut);
  from -= cut;
  to -= cut;
  line = line.substr(0, std::max(from, std::min(to, from + kMaxNear)) + kMaxNear);
  std::vector<std::string_view> characters;
  size_t first = 0;
  size_t last = 0;
  for (size_t pos = 0; pos < line.size();) {
    if (pos <= from) first = characters.size();
    characters.push_back(line.substr(pos, std::max<size_t>(CharacterLength(line.substr(pos)), 1)));
    pos += characters.back().size();
    if (pos <= to) last = characters.size();
  }
  if (from >= line.size()) first = characters.size();
  last = std::max(last, first + 1);
  size_t begin = 0;
  size_t end = characters.size();
  if (end > kMaxColumns) {
    begin = first > kMaxColumns / 2 ? std::min(first - kMaxColumns / 2, end - kMaxColumns) : 0;
    end = begin + kMaxColumns;
  }
  Excerpt excerpt;
  if (begin > 0 || cut > 0) excerpt = {"...", "   "};
  for (size_t i = begin; i < end; ++i) {
    const bool isTab = characters[i] == "\t";
    const std::string shown = TextForPeople(characters[i]);
    excerpt.line += shown;
    if (i < first) excerpt.carets += isTab ? "\t" : std::string(static_cast<size_t>(WidthOf(shown)), ' ');
    // Below a tab there is one mark, since it is not known how wide a tab is.
    if (i > first && i < last) excerpt.carets += std::string(static_cast<size_t>(WidthOf(shown)), '~');
    if (i == first) excerpt.carets += '^' + std::string(static_cast<size_t>(std::max(WidthOf(shown), 1) - 1), '~');
  }
  if (first >= characters.size()) excerpt.carets += '^';
  if (end < characters.size()) excerpt.line += "...";
  return excerpt;
}

std::string UriOf(std::string_view path) {
  constexpr std::string_view kPlain = "/-._~";
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string uri = path.starts_with('/') ? "file://" : "";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || kPlain.find(c) != std::string_view::npos) {
      uri += c;
    } else {
      uri.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    }
  }
  return uri;
}

Json::Value TextNode(std::string_view text) {
  Json::Value node;
  node["text"] = ValidUtf8(text);
  return node;
}

// Where a span begins and ends, by the names of the four numbers.
Json::Value RegionOf(const LineIndex& lines, Span span, const std::array<const char*, 4>& names) {
  const TextPlace begin = lines.placeOf(span.begin);
  const TextPlace end = lines.placeOf(span.end);
  Json::Value region;
  region[names[0]] = JsonNumber(begin.line);
  region[names[1]] = JsonNumber(begin.column);
  region[names[2]] = JsonNumber(end.line);
  region[names[3]] = JsonNumber(end.column);
  return region;
}

constexpr std::array<const char*, 4> kSarifRegion = {"startLine", "startColumn", "endLine", "endColumn"};

Json::Value SarifFix(const Finding& finding, const LineIndex& lines) {
  Json::Value replacement;
  replacement["deletedRegion"] = RegionOf(lines, finding.fix->span, kSarifRegion);
  replacement["insertedContent"] = TextNode(finding.fix->text);
  Json::Value change;
  change["artifactLocation"]["uri"] = UriOf(finding.file->path);
  change["replacements"].append(replacement);
  Json::Value fix;
  fix["artifactChanges"].append(change);
  return fix;
}

Json::Value SarifRule(const FindingCode& code) {
  Json::Value rule;
  rule["id"] = std::string(code.name);
  const FindingText& text = TextOf(code);
  std::string paragraph = text.paragraph;
  std::replace(paragraph.begin(), paragraph.end(), '\n', ' ');
  rule["shortDescription"] = TextNode(text.summary);
  rule["fullDescription"] = TextNode(paragraph);
  rule["help"] = TextNode("Wrong:\n" + text.wrong + "\n\nRight:\n" + text.right);
  rule["defaultConfiguration"]["level"] = std::string(NameOf(code.severity));
  return rule;
}

}  // namespace

size_t CountOf(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<size_t>(std::count_if(
      findings.begin(), findings.end(), [severity](const Finding& finding) { return finding.severity == severity; }));
}

void PrintAsText(const std::vector<Finding>& findings, bool inColour, std::ostream& out) {
  const auto paint = [inColour](std::string_view colour, std::string_view text) {
    return Painted(inColour, colour, text);
  };
  LinesOfFiles files;
  for (const Finding& finding : findings) {
    const FindingCode& code = DescriptionOf(finding.code);
    const LineIndex& lines = files[finding.file];
    const TextPlace place = lines.placeOf(finding.span.begin);
    const size_t lineBegin = lines.begin(place.line);
    const std::string location =
        LineForPeople(finding.file->path) + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ":";
    const char* colour = finding.severity == Severity::kError ? "1;31" : "1;35";
    out << paint("1", location) << ' ' << paint(colour, std::string(NameOf(finding.severity)) + ":") << ' '
        << LineForPeople(finding.message) << " [" << code.name << "]\n";
    const Excerpt excerpt =
        ExcerptOf(lines.line(place.line), finding.span.begin - lineBegin, finding.span.end - lineBegin);
    out << "    " << excerpt.line << "\n    " << paint("1;32", excerpt.carets) << '\n';
    // The cure stands below what it replaces, as compilers have it.
    if (finding.fix && finding.fix->text.find_first_not_of(' ') != std::string::npos &&
        finding.fix->span.begin == finding.span.begin) {
      out << "    " << excerpt.carets.substr(0, excerpt.carets.find('^'))
          << paint("1;36", TextForPeople(finding.fix->text)) << '\n';
    }
  }
  out << Counted(CountOf(findings, Severity::kError), "error") << ", "
      << Counted(CountOf(findings, Severity::kWarning), "warning") << '\n';
}

void PrintAsJson(const std::vector<Finding>& findings, std::ostream& out) {
  LinesOfFiles files;
  Json::Value root;
  root["findings"] = Json::Value(Json::arrayValue);
  for (const Finding& finding : findings) {
    const FindingCode& code = DescriptionOf(finding.code);
    const LineIndex& lines = files[finding.file];
    Json::Value node = RegionOf(lines, finding.span, {"line", "column", "endLine", "endColumn"});
    node["file"] = ValidUtf8(finding.file->path);
    node["severity"] = std::string(NameOf(finding.severity));
    node["code"] = std::string(code.name);
    node["message"] = ValidUtf8(finding.message);
    if (finding.fix) {
      node["fix"] = RegionOf(lines, finding.fix->span, {"line", "column", "endLine", "endColumn"});
      node["fix"]["text"] = ValidUtf8(finding.fix->text);
    }
    root["findings"].append(node);
  }
  root["errors"] = JsonNumber(CountOf(findings, Severity::kError));
  root["warnings"] = JsonNumber(CountOf(findings, Severity::kWarning));
  out << JsonPage(root);
}

void PrintAsSarif(const std::vector<Finding>& findings, std::ostream& out) {
  LinesOfFiles files;
  Json::Value run;
  run["columnKind"] = "unicodeCodePoints";
  run["results"] = Json::Value(Json::arrayValue);
  Json::Value& driver = run["tool"]["driver"];
  driver["name"] = "kestrix check";
  driver["semanticVersion"] = KESTRIX_VERSION;
  for (const FindingCode& code : AllFindingCodes()) driver["rules"].append(SarifRule(code));
  for (const Finding& finding : findings) {
    const FindingCode& code = DescriptionOf(finding.code);
    const LineIndex& lines = files[finding.file];
    Json::Value location;
    location["artifactLocation"]["uri"] = UriOf(finding.file->path);
    location["region"] = RegionOf(lines, finding.span, kSarifRegion);
    Json::Value place;
    place["physicalLocation"] = location;
    Json::Value result;
    result["ruleId"] = std::string(code.name);
    result["ruleIndex"] = JsonNumber(static_cast<size_t>(finding.code));
    result["level"] = std::string(NameOf(finding.severity));
    result["message"] = TextNode(finding.message);
    result["locations"].append(place);
    if (finding.fix) result["fixes"].append(SarifFix(finding, lines));
    run["results"].append(result);
  }
  Json::Value root;
  root["$schema"] = "https://json.schemastore.org/sarif-2.1.0.json";
  root["version"] = "2.1.0";
  root["runs"].append(run);
  out << JsonPage(root);
}
