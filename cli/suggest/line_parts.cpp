#include "cli/suggest/line_parts.h"

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>

#include "cli/log_lines/line_look.h"
#include "cli/output/utf8.h"
#include "regex/regex.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxContext = 24;     // bytes of the words in front of a value that its pattern holds
constexpr size_t kMinTermLetters = 2;  // of a keyword

constexpr char kException[] = R"(^(?:Caused by: )?([\w.$]+\.[A-Z][\w$]*)(?:: |(?!.)))";

struct TokenRow {
  PartKind kind;
  std::string_view pattern;
  std::string_view taken;
};

// What is a value wherever it stands. The first that fits counts.
constexpr TokenRow kValueRows[] = {
    {PartKind::kTime, R"(^\d{4}-\d\d-\d\d[T ]\d\d:\d\d:\d\d[.,\d]*)", R"(\d{4}-\d\d-\d\d[T ][\d:.,]+)"},
    {PartKind::kTime, R"(^\d\d-\d\d \d\d:\d\d:\d\d[.,\d]*)", R"(\d\d-\d\d [\d:.,]+)"},
    {PartKind::kTime, R"(^\d\d:\d\d:\d\d[.,\d]*)", R"(\d\d:\d\d:[\d.,]+)"},
    {PartKind::kAddress, R"(^0x[0-9a-fA-F]+(?!\w))", "0x[0-9a-fA-F]+"},
    {PartKind::kAddress, R"(^[0-9a-f]{8,}(?!\w))", "[0-9a-f]+"},
    {PartKind::kNumber, R"(^\d+\.\d+(?![\w.]))", R"([\d.]+)"},
    {PartKind::kNumber, R"(^-\d+(?!\w))", R"(-?\d+)"},
    {PartKind::kNumber, R"(^\d+(?!\w))", R"(\d+)"},
};
constexpr TokenRow kNameRows[] = {
    {PartKind::kName, R"(^/[\w.+-]+(?:/[\w.+=~@-]*)+)", R"(/[\w./+=~@-]+)"},
    {PartKind::kName, R"(^[A-Za-z_][\w$]*(?:\.[\w$]+)+(?:/[\w.$]+)?)", R"([\w.$/]+)"},
};
constexpr TokenRow kBareWord = {PartKind::kName, R"(^[^\s,;()'"<>{}\[\]@]+(?=[,;)]|  |(?!.)))", R"([^\s,;()]+)"};
constexpr TokenRow kConstant = {PartKind::kName, R"(^[A-Z][A-Z0-9_]+(?=\)))", "[A-Z0-9_]+"};

// Compiled once for each text, of which there are few.
Regex& Compiled(std::string_view text) {
  static std::map<std::string, Regex, std::less<>> compiled;
  const auto found = compiled.find(text);
  return found != compiled.end() ? found->second : compiled.emplace(text, Regex(text)).first->second;
}

size_t LengthOf(std::string_view pattern, std::string_view text) {
  Regex::Match match;
  return Compiled(pattern).search(text, match) ? match.whole.size() : 0;
}

bool IsWordByte(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

size_t LettersIn(std::string_view text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; }));
}

// Walks over the body and notes the values.
class PartReader {
 public:
  PartReader(std::string_view line, LineParts& parts) : line_(line), parts_(parts), pos_(parts.bodyBegin) {}

  void read() {
    while (pos_ < line_.size()) {
      if (!readQuoted() && !readAny(kValueRows) && !readBehindKey() && !readAny(kNameRows)) ++pos_;
    }
  }

 private:
  std::string_view rest() const { return line_.substr(pos_); }
  std::string_view before() const { return line_.substr(parts_.bodyBegin, pos_ - parts_.bodyBegin); }

  void add(PartKind kind, size_t length, std::string_view taken) {
    parts_.parts.push_back({kind, pos_, pos_ + length, taken, "", ""});
    pos_ += length;
  }

  bool read(const TokenRow& row) {
    const size_t length = LengthOf(row.pattern, rest());
    if (length == 0) return false;
    add(row.kind, length, row.taken);
    return true;
  }

  template <size_t kCount>
  bool readAny(const TokenRow (&rows)[kCount]) {
    if (!before().empty() && IsWordByte(before().back())) return false;
    return std::any_of(std::begin(rows), std::end(rows), [this](const TokenRow& row) { return read(row); });
  }

  bool readQuoted() {
    if (line_[pos_] != '\'' || (!before().empty() && IsWordByte(before().back()))) return false;
    const size_t length = std::min(rest().find('\'', 1), rest().size() + 1) - 1;
    if (length == 0 || length == rest().size()) return false;
    ++pos_;
    add(PartKind::kText, length, "[^']*");
    return true;
  }

  // A word behind "key: " or "key=", or all that follows; a name of a constant in parentheses.
  bool readBehindKey() {
    if (before().ends_with("(")) return read(kConstant);
    if (!before().ends_with(": ") && !before().ends_with("=")) return false;
    if (read(kBareWord)) return true;
    // Where there are values in it, the words between them are worth more as keywords.
    const bool isLast = before().ends_with(": ") && rest().find_first_of(":=/(0123456789") == std::string_view::npos &&
                        rest().find("  ") == std::string_view::npos;
    if (isLast) add(PartKind::kText, rest().size(), ".*");
    return isLast;
  }

  std::string_view line_;
  LineParts& parts_;
  size_t pos_;
};

std::string_view DefaultName(PartKind kind) {
  switch (kind) {
    case PartKind::kTime:
      return "time";
    case PartKind::kAddress:
      return "address";
    case PartKind::kNumber:
      return "number";
    case PartKind::kName:
      return "name";
    case PartKind::kText:
      return "text";
  }
  return "";
}

// The last word of `words` in lower case; empty when it is none that names a value.
std::string NameIn(std::string_view words) {
  while (!words.empty() && !IsWordByte(words.back())) words.remove_suffix(1);
  size_t begin = words.size();
  while (begin > 0 && IsWordByte(words[begin - 1])) --begin;
  std::string name(words.substr(begin));
  if (LettersIn(name) < kMinTermLetters || !std::isalpha(static_cast<unsigned char>(name[0]))) return "";
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
  return name;
}

// The end of `words`, from the beginning of a word on.
std::string_view ContextIn(std::string_view words) {
  if (words.size() <= kMaxContext) return words;
  size_t begin = words.size() - kMaxContext;
  while (begin < words.size() && IsWordByte(words[begin - 1])) ++begin;
  return words.substr(begin);
}

bool Takes(const std::string& pattern, std::string_view line, std::string_view value) {
  Regex::Match match;
  return Regex(pattern).search(line, match) && match.group == value;
}

void SetPattern(std::string_view line, std::string_view words, bool isFirst, size_t bodyBegin, LinePart& part) {
  const std::string_view value = line.substr(part.begin, part.end - part.begin);
  const std::string group = "(" + std::string(part.taken) + ")";
  std::vector<std::string> contexts;
  if (!words.empty()) contexts = {Escaped(ContextIn(words)), Escaped(words)};
  if (words.empty() && isFirst) {
    contexts = {bodyBegin == 0 ? "^"
                               : Escaped(line.substr(0, bodyBegin).substr(bodyBegin - std::min<size_t>(2, bodyBegin)))};
  }
  for (const std::string& context : contexts) {
    if (!IsUtf8(context) || context.find('@') != std::string::npos || !Takes(context + group, line, value)) continue;
    part.pattern = context + group;
    return;
  }
}

void NameAll(std::string_view line, LineParts& parts) {
  std::vector<std::string> names;
  size_t wordsBegin = parts.bodyBegin;
  for (LinePart& part : parts.parts) {
    const std::string_view words = line.substr(wordsBegin, part.begin - wordsBegin);
    std::string name = NameIn(words);
    if (name.empty()) name = DefaultName(part.kind);
    std::string unique = name;
    for (int i = 2; std::find(names.begin(), names.end(), unique) != names.end(); ++i) {
      unique = name + "_" + std::to_string(i);
    }
    names.push_back(unique);
    part.name = unique;
    SetPattern(line, words, &part == &parts.parts.front(), parts.bodyBegin, part);
    wordsBegin = part.end;
  }
}

// An exception may come with a message or without: its patterns take both.
bool ReadException(std::string_view line, LineParts& parts) {
  Regex::Match match;
  const std::string_view body = line.substr(parts.bodyBegin);
  if (!Compiled(kException).search(body, match)) return false;
  parts.isException = true;
  const auto begin = static_cast<size_t>(match.group.data() - line.data());
  const size_t end = begin + match.group.size();
  parts.parts.push_back(
      {PartKind::kName, begin, end, R"([\w.$]+\.[A-Z][\w$]*)", "class", R"(\b(\w[\w.$]*\.[A-Z][\w$]*)(?:: |(?!.)))"});
  if (end + 2 < line.size()) {
    parts.parts.push_back(
        {PartKind::kText, end + 2, line.size(), ".*", "message", R"(\w\.[A-Z][\w$]*(?:: (.*)|(?!.)))"});
  }
  return true;
}

bool IsKept(const LinePart& part, Strictness strictness) {
  const bool isName = part.kind == PartKind::kName || part.kind == PartKind::kText;
  return (isName && strictness >= Strictness::kNames) ||
         (part.kind == PartKind::kNumber && strictness >= Strictness::kNumbers);
}

std::string JoinedTerms(const std::vector<std::string_view>& runs) {
  std::string keyWords;
  for (std::string_view run : runs) {
    run = UsableIn(run);
    if (LettersIn(run) < kMinTermLetters) continue;
    if (!keyWords.empty()) keyWords += kAndMark;
    keyWords += run;
  }
  return keyWords;
}

// The whole body as an expression, for a line without words.
std::string ShapeOf(std::string_view line, const LineParts& parts) {
  if (parts.parts.empty()) return "";
  std::string shape(kRegexMark);
  if (parts.bodyBegin == 0) shape += '^';
  size_t begin = parts.bodyBegin;
  for (const LinePart& part : parts.parts) {
    shape += Escaped(line.substr(begin, part.begin - begin)) + std::string(part.taken);
    begin = part.end;
  }
  shape += Escaped(line.substr(begin)) + "(?!.)";
  const bool isUsable = IsUtf8(shape) && shape.find('@', kRegexMark.size()) == std::string::npos;
  return isUsable ? shape : "";
}

std::string ExceptionKeyWords(std::string_view name) {
  std::string keyWords = std::string(kRegexMark) + R"(\w\.[A-Z][\w$]*)";
  for (const std::string_view ending : {"Exception", "Error"}) {
    if (name.ends_with(ending)) keyWords += ending;
  }
  return keyWords + R"((?:: |(?!.)))";
}

}  // namespace

LineParts PartsOf(std::string_view line) {
  LineParts parts;
  parts.bodyBegin = PrefixLength(line);
  while (parts.bodyBegin < line.size() && IsBlank(line[parts.bodyBegin])) ++parts.bodyBegin;
  if (ReadException(line, parts)) return parts;
  PartReader(line, parts).read();
  NameAll(line, parts);
  return parts;
}

std::string KeyWordsFor(std::string_view line, const LineParts& parts, Strictness strictness) {
  std::vector<std::string_view> runs;
  size_t begin = parts.bodyBegin;
  for (const LinePart& part : parts.parts) {
    if (IsKept(part, strictness)) continue;
    runs.push_back(line.substr(begin, part.begin - begin));
    begin = part.end;
  }
  runs.push_back(line.substr(begin));
  while (!runs.back().empty() && IsBlank(runs.back().back())) runs.back().remove_suffix(1);
  std::string keyWords = JoinedTerms(runs);
  if (!keyWords.empty()) return keyWords;
  if (parts.isException) {
    const LinePart& name = parts.parts.front();
    return ExceptionKeyWords(line.substr(name.begin, name.end - name.begin));
  }
  return ShapeOf(line, parts);
}

std::string_view UsableIn(std::string_view text) {
  std::string_view longest;
  size_t begin = 0;
  for (size_t pos = 0; pos < text.size();) {
    const size_t length = CharacterLength(text.substr(pos));
    const bool isUsable = length > 0 && text[pos] != '@';
    pos += std::max<size_t>(length, 1);
    if (!isUsable) begin = pos;
    if (pos - begin > longest.size()) longest = text.substr(begin, pos - begin);
  }
  return longest;
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (std::string_view(R"(\^$.|?*+()[]{})").find(c) != std::string_view::npos) escaped += '\\';
    escaped += c;
  }
  return escaped;
}
