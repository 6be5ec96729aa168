#include "cli/rule_files/json_tree.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <unordered_map>

#include "cli/library/input.h"
#include "cli/output/utf8.h"
#include "rules/rule_file.h"

namespace {

constexpr std::string_view kSpaces = " \t\r\n";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

void AppendUtf8(unsigned code, std::string& out) {
  const auto add = [&out](unsigned byte) { out += static_cast<char>(byte); };
  if (code < 0x80) return add(code);
  if (code < 0x800) {
    add(0xc0 | code >> 6);
  } else {
    if (code < 0x10000) {
      add(0xe0 | code >> 12);
    } else {
      add(0xf0 | code >> 18);
      add(0x80 | (code >> 12 & 0x3f));
    }
    add(0x80 | (code >> 6 & 0x3f));
  }
  add(0x80 | (code & 0x3f));
}

// Walks a text that the library's reader has accepted, and so need not judge it: what that reader lets pass passes here
// too, with a remark.
class JsonWalker {
 public:
  explicit JsonWalker(JsonFile& file) : file_(file), text_(file.text) {}

  void walk() {
    skipSpace();
    readValue(file_.tree);
    skipSpace();
    const size_t last = text_.find_last_not_of(kSpaces);
    if (pos_ < text_.size()) file_.extra = {pos_, last + 1};
  }

 private:
  char at(size_t pos) const { return pos < text_.size() ? text_[pos] : '\0'; }

  void remark(size_t begin, const char* text) { file_.oddities.push_back({{begin, pos_}, text, {}}); }

  void skipSpace() {
    while (true) {
      pos_ = std::min(text_.find_first_not_of(kSpaces, pos_), text_.size());
      const size_t begin = pos_;
      if (at(pos_) != '/' || (at(pos_ + 1) != '/' && at(pos_ + 1) != '*')) return;
      const bool isBlock = at(pos_ + 1) == '*';
      const size_t end = text_.find(isBlock ? "*/" : "\n", pos_ + 2);
      if (isBlock && end == std::string_view::npos) return;
      pos_ = std::min(end, text_.size()) + (isBlock ? 2 : 0);
      remark(begin, "a comment");
    }
  }

  void readValue(JsonNode& node) {
    node.span.begin = pos_;
    switch (at(pos_)) {
      case '{':
        readObject(node);
        break;
      case '[':
        readArray(node);
        break;
      case '"':
        node.kind = JsonNode::Kind::kString;
        readText(node.text);
        break;
      case 't':
      case 'f':
      case 'n':
        node.kind = at(pos_) == 'n' ? JsonNode::Kind::kNull : JsonNode::Kind::kBoolean;
        pos_ += at(pos_) == 'f' ? 5 : 4;
        break;
      default:
        readNumber(node);
    }
    node.span.end = pos_;
  }

  void readObject(JsonNode& node) {
    node.kind = JsonNode::Kind::kObject;
    ++pos_;
    for (skipSpace(); at(pos_) == '"'; skipSpace()) {
      JsonMember& member = node.members.emplace_back();
      member.keySpan.begin = pos_;
      readText(member.key);
      member.keySpan.end = pos_;
      skipSpace();
      ++pos_;  // ":"
      skipSpace();
      readValue(member.value);
      skipSpace();
      if (at(pos_) != ',') break;
      const size_t comma = pos_++;
      skipSpace();
      if (at(pos_) == '}') remark(comma, "a comma without a member behind it");
    }
    ++pos_;  // "}"
    markReplaced(node);
  }

  static void markReplaced(JsonNode& node) {
    std::unordered_map<std::string_view, JsonMember*> last;
    for (JsonMember& member : node.members) {
      const auto [known, isNew] = last.try_emplace(member.key.text, &member);
      if (isNew) continue;
      known->second->isRead = false;
      known->second = &member;
    }
  }

  void readArray(JsonNode& node) {
    node.kind = JsonNode::Kind::kArray;
    ++pos_;
    for (skipSpace(); pos_ < text_.size() && at(pos_) != ']'; skipSpace()) {
      readValue(node.elements.emplace_back());
      skipSpace();
      if (at(pos_) == ',') ++pos_;
    }
    ++pos_;  // "]"
  }

  void readNumber(JsonNode& node) {
    node.kind = JsonNode::Kind::kNumber;
    const size_t begin = pos_;
    const auto skipDigits = [this] {
      const size_t first = pos_;
      while (IsDigit(at(pos_))) ++pos_;
      return pos_ - first;
    };
    if (at(pos_) == '-') ++pos_;
    const bool hasZero = at(pos_) == '0';
    const size_t whole = skipDigits();
    bool isOdd = whole == 0 || (hasZero && whole > 1);
    if (at(pos_) == '.') {
      ++pos_;
      isOdd = skipDigits() == 0 || isOdd;
    }
    if (at(pos_) == 'e' || at(pos_) == 'E') {
      ++pos_;
      if (at(pos_) == '+' || at(pos_) == '-') ++pos_;
      isOdd = skipDigits() == 0 || isOdd;
    }
    if (isOdd) remark(begin, "this way of writing a number");
    if (pos_ == begin) ++pos_;  // never to stand still
  }

  void readText(JsonText& out) {
    ++pos_;  // the quote
    while (pos_ < text_.size() && at(pos_) != '"') {
      const size_t begin = pos_;
      const char c = text_[pos_++];
      if (static_cast<unsigned char>(c) < ' ') remark(begin, "a control character inside a text");
      checkUtf8(begin);
      if (c == '\\') {
        readEscape(out.text);
      } else {
        out.text += c;
      }
      out.offsets.resize(out.text.size(), begin);
    }
    out.offsets.push_back(pos_);
    ++pos_;  // the quote
  }

  // The first of a file in another encoding says it for all.
  void checkUtf8(size_t begin) {
    const auto byte = static_cast<unsigned char>(text_[begin]);
    const bool isInside = (byte & 0xc0) == 0x80;
    if (byte < 0x80 || (isInside && begin < wholeEnd_)) return;
    const size_t size = CharacterLength(text_.substr(begin));
    wholeEnd_ = begin + std::max<size_t>(size, 1);
    if (size > 0 || isOtherEncoding_) return;
    isOtherEncoding_ = true;
    remark(begin, "a byte that is not UTF-8");
  }

  void readEscape(std::string& out) {
    constexpr std::string_view kLetters = "bfnrt";
    const char c = at(pos_++);
    const size_t control = kLetters.find(c);
    if (c == 'u') {
      AppendUtf8(readCodePoint(), out);
    } else {
      out += control == std::string_view::npos ? c : "\b\f\n\r\t"[control];
    }
  }

  unsigned readCodePoint() {
    const unsigned first = readHex();
    if (first < 0xd800 || first > 0xdbff) return first;
    pos_ += 2;  // the "\u" of the second half
    return 0x10000 + ((first & 0x3ff) << 10) + (readHex() & 0x3ff);
  }

  unsigned readHex() {
    const std::string digits(text_.substr(std::min(pos_, text_.size()), 4));
    pos_ += 4;
    return static_cast<unsigned>(std::strtoul(digits.c_str(), nullptr, 16));
  }

  JsonFile& file_;
  std::string_view text_;
  size_t pos_ = 0;
  size_t wholeEnd_ = 0;           // behind the character that was judged last
  bool isOtherEncoding_ = false;  // that has been said
};

// Gives each node the value that the library has read for it.
void Attach(JsonNode& node, const Json::Value& value) {
  node.value = &value;
  for (JsonMember& member : node.members) {
    if (member.isRead) Attach(member.value, value[member.key.text]);
  }
  for (size_t i = 0; i < node.elements.size(); ++i) Attach(node.elements[i], value[static_cast<Json::ArrayIndex>(i)]);
}

// Characters that look like a blank or like nothing, or like a quote that JSON knows.
struct OddCharacter {
  std::string_view bytes;
  const char* text;
  const char* cure;
};

constexpr OddCharacter kOddCharacters[] = {
    {"\xc2\xa0", "a no-break space (U+00A0) stands here; use a plain blank", " "},
    {"\xe2\x80\xaf", "a no-break space (U+202F) stands here; use a plain blank", " "},
    {"\xe3\x80\x80", "a wide blank (U+3000) stands here; use a plain one", " "},
    {"\xe2\x80\x8b", "an invisible character (U+200B) stands here", ""},
    {"\xe2\x80\x8c", "an invisible character (U+200C) stands here", ""},
    {"\xe2\x80\x8d", "an invisible character (U+200D) stands here", ""},
    {"\xe2\x81\xa0", "an invisible character (U+2060) stands here", ""},
    {"\xef\xbb\xbf", "an invisible character (U+FEFF) stands here", ""},
    {"\xe2\x80\x9c", "a typographic quote stands here; use a plain one", "\""},
    {"\xe2\x80\x9d", "a typographic quote stands here; use a plain one", "\""},
    {"'", "a text stands in double quotes", "\""},
};

// The place of the quote that ends the text which begins at `begin`; npos when there is none.
size_t EndOfText(std::string_view text, size_t begin) {
  for (size_t i = begin + 1; i < text.size(); ++i) {
    if (text[i] == '"') return i;
    if (text[i] == '\\') ++i;
  }
  return std::string_view::npos;
}

// The first escape in the text at `begin` that JSON does not have.
std::optional<size_t> FindBadEscape(std::string_view text, size_t begin) {
  constexpr std::string_view kEscapes = "\"\\/bfnrtu";
  for (size_t i = begin + 1; i + 1 < text.size() && text[i] != '"'; ++i) {
    if (text[i] != '\\') continue;
    if (kEscapes.find(text[i + 1]) == std::string_view::npos) return i;
    ++i;
  }
  return std::nullopt;
}

bool IsUtf16(std::string_view text) {
  return text.starts_with("\xff\xfe") || text.starts_with("\xfe\xff") ||
         (text.size() > 3 && ((text[0] == '\0' && text[2] == '\0') || (text[1] == '\0' && text[3] == '\0')));
}

// The reader's first complaint, in plainer words where its own mislead.
JsonRemark FaultOf(std::string_view text, Span span, std::string reason) {
  const size_t begin = std::min(span.begin, text.size());
  const std::string_view rest = text.substr(begin);
  const size_t before = text.substr(0, begin).find_last_not_of(kSpaces);
  while (!reason.empty() && kSpaces.find(reason.back()) != std::string_view::npos) reason.pop_back();
  if (text.find_first_not_of(kSpaces) == std::string_view::npos) return {span, "the file is empty"};
  if (IsUtf16(text)) return {{0, 1}, "the file is UTF-16; save it as UTF-8"};
  if (text.starts_with("\xef\xbb\xbf")) return {{0, 3}, "the file begins with a byte order mark", ""};
  if (rest.starts_with("//") || rest.starts_with("/*") || rest.starts_with('#')) return {span, "a comment"};
  if ((rest.starts_with('}') || rest.starts_with(']')) && before != std::string_view::npos && text[before] == ',') {
    return {{before, before + 1}, "a comma before the end", ""};
  }
  if (rest.starts_with(',') && before != std::string_view::npos &&
      std::string_view(",{[").find(text[before]) != std::string_view::npos) {
    return {{begin, begin + 1}, "a comma too many", ""};
  }
  for (const OddCharacter& odd : kOddCharacters) {
    if (rest.starts_with(odd.bytes)) return {{begin, begin + odd.bytes.size()}, odd.text, odd.cure};
  }
  if (rest.starts_with('\0')) return {{begin, begin + 1}, "a NUL byte stands here", ""};
  if (rest.starts_with('"')) {
    if (const std::optional<size_t> escape = FindBadEscape(text, begin)) {
      const std::string written(text.substr(*escape, 2));
      return {{*escape, *escape + 2},
              "\"" + written + "\" is no escape of JSON, where a backslash is written twice: \"\\" + written + "\"",
              "\\" + written};
    }
    if (reason.find("surrogate") != std::string::npos) {
      return {span, "an escape \"\\ud800\" to \"\\udfff\" is half a character, and the other half is missing"};
    }
    if (EndOfText(text, begin) == std::string_view::npos) {
      return {{begin, begin + 1}, "this text has no closing quote; the file ends in it"};
    }
  }
  if (rest.find_first_not_of(kSpaces) == std::string_view::npos) {
    return {{text.size(), text.size()}, "the file ends here, with a bracket open"};
  }
  if (reason.find("member name") != std::string::npos && reason.find(':') == std::string::npos) {
    return {span, "the name of a member belongs here, in double quotes, or the end of the object"};
  }
  if (reason.starts_with("Syntax error: value")) {
    return {span, "a value belongs here: a text in double quotes, a number, true, false, null, \"{\" or \"[\""};
  }
  return {span, reason};
}

std::string ContentOf(const std::string& path) {
  CheckReadableFile(path);
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// As the library reads it; see ReadRuleFile.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
void Parse(JsonFile& file) {
  const size_t deep = FindTooDeep(file.text);
  if (deep != std::string::npos) {
    file.fault = {{deep, deep + 1}, "nested more than 1,000 deep, so the file is not read"};
    return;
  }
  Json::Reader reader(Json::Features::strictMode());
  file.isJson = reader.parse(file.text, file.root, true);
  if (file.isJson) return;
  const auto errors = reader.getStructuredErrors();
  Span span{file.text.size(), file.text.size()};
  std::string reason = "it cannot be read";
  if (!errors.empty()) {
    span = {static_cast<size_t>(errors[0].offset_start), static_cast<size_t>(errors[0].offset_limit)};
    reason = errors[0].message;
  }
  file.fault = FaultOf(file.text, span, reason);
}
#pragma GCC diagnostic pop

}  // namespace

Span JsonText::span(size_t from, size_t count) const {
  const size_t begin = std::min(from, text.size());
  const size_t end = std::min(text.size(), begin + std::max<size_t>(count, 1));
  return {offsets[begin], offsets[end]};
}

const JsonMember* JsonNode::find(std::string_view name) const {
  const auto member =
      std::find_if(members.rbegin(), members.rend(), [name](const JsonMember& m) { return m.key.text == name; });
  return member == members.rend() ? nullptr : &*member;
}

JsonFile::JsonFile(const std::string& filePath) : JsonFile(filePath, ContentOf(filePath)) {}

JsonFile::JsonFile(std::string filePath, std::string content) : path(std::move(filePath)), text(std::move(content)) {
  Parse(*this);
  if (!isJson) return;
  JsonWalker(*this).walk();
  Attach(tree, root);
}
