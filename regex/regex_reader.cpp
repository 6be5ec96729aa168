#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "regex/regex_tree.h"

namespace {

using Kind = RegexNode::Kind;

constexpr int kMaxDepth = 100;      // groups inside groups
constexpr int kMaxCount = 1000;     // largest number in braces
constexpr double kMaxSize = 10000;  // atoms with all repetitions written out; GNU's library gives up at 100,000 states

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAlnum(char c) { return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsAscii(char c) { return static_cast<unsigned char>(c) < 128; }

int HexValue(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

void AddRange(ByteSet& bytes, char first, char last) {
  for (int b = first; b <= last; ++b) bytes.set(static_cast<size_t>(b));
}

// The bytes of "\d", "\w" or "\s"; of their negations when the letter is a capital one. In the "C" locale no byte from
// 128 belongs to a class.
ByteSet ClassOfLetter(char letter) {
  ByteSet bytes;
  const char lower = static_cast<char>(letter | 0x20);
  if (lower == 'd' || lower == 'w') AddRange(bytes, '0', '9');
  if (lower == 'w') {
    AddRange(bytes, 'a', 'z');
    AddRange(bytes, 'A', 'Z');
    bytes.set('_');
  } else if (lower == 's') {
    AddRange(bytes, '\t', '\r');
    bytes.set(' ');
  }
  if (letter != lower) bytes.flip();
  return bytes;
}

// The atoms of a pattern with its repetitions written out.
double WrittenOut(const RegexNode& pattern) {
  double size = 1;
  for (const RegexNode& part : pattern.parts) size += WrittenOut(part);
  return pattern.kind == Kind::kRepeat ? size * std::max({1, pattern.min, pattern.max}) : size;
}

// A reader by recursive descent over the part of the grammar that is safe to read. Every read... function takes what it
// reads off the front of `rest_` and returns false when the expression cannot be read.
class RegexReader {
 public:
  explicit RegexReader(std::string_view expression) : rest_(expression) {}

  std::optional<RegexTree> read() {
    RegexTree tree;
    if (!readChoice(tree.root, 0) || !rest_.empty() || WrittenOut(tree.root) > kMaxSize) return std::nullopt;
    tree.groupCount = closedGroups_.size();
    return tree;
  }

 private:
  bool at(char c) const { return !rest_.empty() && rest_[0] == c; }

  bool take(std::string_view text) {
    if (!rest_.starts_with(text)) return false;
    rest_.remove_prefix(text.size());
    return true;
  }

  bool takeByte(char& c) {
    if (rest_.empty()) return false;
    c = rest_[0];
    rest_.remove_prefix(1);
    return true;
  }

  bool readChoice(RegexNode& pattern, int depth) {
    if (depth > kMaxDepth) return false;
    std::vector<RegexNode> branches;
    do {
      if (!readSequence(branches.emplace_back(), depth)) return false;
    } while (take("|"));
    if (branches.size() == 1) {
      pattern = std::move(branches[0]);
    } else {
      pattern = {.kind = Kind::kChoice, .parts = std::move(branches)};
    }
    return true;
  }

  bool readSequence(RegexNode& sequence, int depth) {
    while (!rest_.empty() && !at('|') && !at(')')) {
      RegexNode atom;
      bool isAssertion = false;
      if (!readAtom(atom, isAssertion, depth)) return false;
      if (isAssertion ? atRepeat() : !readRepeat(atom)) return false;
      sequence.parts.push_back(std::move(atom));
    }
    return true;
  }

  bool atRepeat() const { return at('*') || at('+') || at('?') || at('{'); }

  bool readRepeat(RegexNode& atom) {
    int min = 0;
    int max = RegexNode::kUnbounded;
    if (take("+")) {
      min = 1;
    } else if (take("?")) {
      max = 1;
    } else if (take("{")) {
      if (!readCount(min)) return false;
      max = min;
      if (take(",")) {
        max = RegexNode::kUnbounded;
        if (!at('}') && (!readCount(max) || max < min)) return false;
      }
      if (!take("}")) return false;
    } else if (!take("*")) {
      return true;
    }
    const bool lazy = take("?");
    atom = {.kind = Kind::kRepeat, .parts = {std::move(atom)}, .min = min, .max = max, .lazy = lazy};
    return !atRepeat();
  }

  bool readCount(int& count) {
    if (rest_.empty() || !IsDigit(rest_[0])) return false;
    for (count = 0; !rest_.empty() && IsDigit(rest_[0]); rest_.remove_prefix(1)) {
      count = count * 10 + (rest_[0] - '0');
      if (count > kMaxCount) return false;
    }
    return true;
  }

  bool readAtom(RegexNode& atom, bool& isAssertion, int depth) {
    char c = '\0';
    takeByte(c);
    switch (c) {
      case '(':
        return readGroup(atom, isAssertion, depth);
      case '[':
        atom.kind = Kind::kByte;
        return readClass(atom.bytes);
      case '\\':
        return readEscape(atom, isAssertion);
      case '^':
      case '$':
        atom.kind = c == '^' ? Kind::kLineStart : Kind::kLineEnd;
        isAssertion = true;
        return true;
      case '.':
        atom.kind = Kind::kByte;
        atom.bytes.set().reset('\n').reset('\r');
        return true;
      case '\0':
      case '*':
      case '+':
      case '?':
      case '{':
      case '}':
      case ']':
        return false;
      default:
        atom.kind = Kind::kByte;
        return setByte(atom.bytes, c);
    }
  }

  bool readGroup(RegexNode& atom, bool& isAssertion, int depth) {
    std::optional<size_t> group;
    if (take("?=")) {
      atom.kind = Kind::kAhead;
    } else if (take("?!")) {
      atom.kind = Kind::kNotAhead;
    } else if (!take("?:")) {
      if (at('?')) return false;
      group = closedGroups_.size();
      closedGroups_.push_back(false);
    }
    isAssertion = atom.kind != Kind::kSequence;
    RegexNode content;
    if (!readChoice(content, depth + 1) || !take(")")) return false;
    if (group) closedGroups_[*group] = true;
    if (group == 0U) atom.kind = Kind::kFirstGroup;
    if (atom.kind == Kind::kSequence) {
      atom = std::move(content);
    } else {
      atom.parts.push_back(std::move(content));
    }
    return true;
  }

  bool readEscape(RegexNode& atom, bool& isAssertion) {
    char c = '\0';
    if (!takeByte(c)) return false;
    if (c == 'b' || c == 'B') {
      atom.kind = c == 'b' ? Kind::kWordEdge : Kind::kNoWordEdge;
      isAssertion = true;
      return true;
    }
    if (c >= '1' && c <= '9') {
      const size_t group = static_cast<size_t>(c - '0');
      if (!rest_.empty() && IsDigit(rest_[0])) return false;
      atom.kind = Kind::kBackReference;
      return group <= closedGroups_.size() && closedGroups_[group - 1];
    }
    atom.kind = Kind::kByte;
    return readClassLetter(c, atom.bytes) || readByteEscape(c, atom.bytes);
  }

  static bool readClassLetter(char c, ByteSet& bytes) {
    if (std::string_view("dDwWsS").find(c) == std::string_view::npos) return false;
    bytes |= ClassOfLetter(c);
    return true;
  }

  // An escape that stands for one byte.
  bool readByteEscape(char c, ByteSet& bytes) {
    constexpr std::array<std::pair<char, char>, 5> kControls = {
        {{'t', '\t'}, {'n', '\n'}, {'v', '\v'}, {'f', '\f'}, {'r', '\r'}}};
    for (const auto& [letter, byte] : kControls) {
      if (c == letter) return setByte(bytes, byte);
    }
    if (c == 'x') {
      const int high = rest_.size() < 2 ? -1 : HexValue(rest_[0]);
      const int low = rest_.size() < 2 ? -1 : HexValue(rest_[1]);
      if (high < 0 || low < 0 || high > 7) return false;
      rest_.remove_prefix(2);
      return setByte(bytes, static_cast<char>(high * 16 + low));
    }
    return IsAscii(c) && c > ' ' && !IsAlnum(c) && c != '_' && c != 127 && setByte(bytes, c);
  }

  static bool setByte(ByteSet& bytes, char c) {
    bytes.set(static_cast<unsigned char>(c));
    return true;
  }

  // Behind the "[". Only plain bytes, ranges of them, escapes and class letters are read; a hyphen only at either end.
  bool readClass(ByteSet& bytes) {
    const bool negated = take("^");
    if (at(']')) return false;
    while (!take("]")) {
      ByteSet item;
      bool isByte = true;
      if (!readClassItem(item, isByte)) return false;
      if (!isByte && at('-') && !rest_.starts_with("-]")) return false;
      if (at('-') && !rest_.starts_with("-]")) {
        ByteSet last;
        rest_.remove_prefix(1);
        bool endIsByte = true;
        if (!readClassItem(last, endIsByte) || !endIsByte || !fillRange(item, last)) return false;
        if (at('-') && !rest_.starts_with("-]")) return false;
      }
      bytes |= item;
    }
    if (negated) bytes.flip();
    return true;
  }

  bool readClassItem(ByteSet& item, bool& isByte) {
    char c = '\0';
    if (!takeByte(c) || c == '\0') return false;
    if (c == '[' && (at(':') || at('.') || at('='))) return false;
    if (c == '-' && at('-')) return false;
    if (c != '\\') return setByte(item, c);
    if (!takeByte(c)) return false;
    isByte = !readClassLetter(c, item);
    return !isByte || readByteEscape(c, item);
  }

  // Adds to `item`, which holds the first byte of a range, the rest up to the byte in `last`.
  static bool fillRange(ByteSet& item, const ByteSet& last) {
    size_t from = 0;
    size_t to = 0;
    while (!item[from]) ++from;
    while (!last[to]) ++to;
    if (from > to || to >= 128) return false;
    for (size_t b = from; b <= to; ++b) item.set(b);
    return true;
  }

  std::string_view rest_;
  std::vector<bool> closedGroups_;  // by number, whether the group's ")" has been read
};

}  // namespace

std::optional<RegexTree> ReadRegexTree(std::string_view expression) { return RegexReader(expression).read(); }
