#include "regex/regex_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

// A parser by recursive descent. What it cannot judge it still reads to the end, since a fault further on counts more.
// Every read... function moves behind what it reads and returns false at a fault.

namespace {

using Kind = RegexNode::Kind;

constexpr int kMaxDepth = 100;      // groups inside groups
constexpr double kMaxSize = 10000;  // atoms with all repetitions written out; GNU's library gives up at 100,000 states

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsOneOf(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }

int HexValue(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

ByteSet Range(uint8_t first, uint8_t last) {
  ByteSet bytes;
  for (size_t b = first; b <= last; ++b) bytes.set(b);
  return bytes;
}

ByteSet Bytes(std::string_view text) {
  ByteSet bytes;
  for (const char c : text) bytes.set(static_cast<unsigned char>(c));
  return bytes;
}

struct NamedClass {
  std::string_view name;
  ByteSet bytes;
};

// In the "C" locale no byte from 128 belongs to a class.
std::optional<ByteSet> ClassOfName(std::string_view name) {
  static const ByteSet kDigit = Range('0', '9');
  static const ByteSet kLower = Range('a', 'z');
  static const ByteSet kUpper = Range('A', 'Z');
  static const ByteSet kAlnum = kDigit | kLower | kUpper;
  static const ByteSet kGraph = Range('!', '~');
  static const ByteSet kSpace = Range('\t', '\r') | Bytes(" ");
  static const NamedClass kClasses[] = {
      {"alnum", kAlnum},
      {"alpha", kLower | kUpper},
      {"blank", Bytes(" \t")},
      {"cntrl", Range(0, 31) | Range(127, 127)},
      {"d", kDigit},
      {"digit", kDigit},
      {"graph", kGraph},
      {"lower", kLower},
      {"print", kGraph | Bytes(" ")},
      {"punct", kGraph & ~kAlnum},
      {"s", kSpace},
      {"space", kSpace},
      {"upper", kUpper},
      {"w", kAlnum | Bytes("_")},
      {"xdigit", kDigit | Range('a', 'f') | Range('A', 'F')},
  };
  for (const NamedClass& known : kClasses) {
    if (known.name == name) return known.bytes;
  }
  return std::nullopt;
}

// The atoms of an expression with its repetitions written out. A loop over what may be empty is built with a second
// and a third copy of its body (see RegexMachine).
double WrittenOut(const RegexNode& node) {
  double size = 1;
  for (const RegexNode& part : node.parts) size += WrittenOut(part);
  if (node.kind != Kind::kRepeat) return size;
  return size * std::max({1, node.min, node.max}) * (MayBeEmpty(node.parts[0]) ? 3 : 1);
}

// How many look-aheads with endless loops of their own stand inside each other.
int EndlessLookAheads(const RegexNode& node) {
  int inside = 0;
  for (const RegexNode& part : node.parts) inside = std::max(inside, EndlessLookAheads(part));
  return inside + (IsLookAhead(node) && Holds(node.parts[0], IsEndless) ? 1 : 0);
}

// Whether "\b" or "\B" may be asked about before a byte is taken.
bool BeginsWithEdge(const RegexNode& node) {
  if (node.kind == Kind::kWordBoundary || node.kind == Kind::kNotWordBoundary) return true;
  if (node.kind == Kind::kSequence) {
    for (const RegexNode& part : node.parts) {
      if (BeginsWithEdge(part)) return true;
      if (!MayBeEmpty(part)) return false;
    }
    return false;
  }
  return std::any_of(node.parts.begin(), node.parts.end(), BeginsWithEdge);
}

class RegexReader {
 public:
  explicit RegexReader(std::string_view text) : text_(text) {}

  RegexReading read() {
    RegexTree tree;
    if (readChoice(tree.root, 0)) {
      if (!atEnd()) refuse(RegexIssue::kUnopenedGroup, pos_, 1);
      if (hasTree_ && WrittenOut(tree.root) > kMaxSize) leaveOut(RegexIssue::kTooLarge, 0);
    }
    if (hasTree_) {
      tree.groupCount = closedGroups_.size();
      reading_.tree = std::move(tree);
    }
    return std::move(reading_);
  }

 private:
  char at(size_t ahead = 0) const { return pos_ + ahead < text_.size() ? text_[pos_ + ahead] : '\0'; }
  bool atEnd() const { return pos_ >= text_.size(); }

  bool take(std::string_view part) {
    if (!text_.substr(pos_).starts_with(part)) return false;
    pos_ += part.size();
    return true;
  }

  void note(RegexIssue issue, size_t offset, size_t length) {
    reading_.issue = issue;
    reading_.offset = offset;
    reading_.length = std::min(length, text_.size() - offset);
  }

  bool refuse(RegexIssue issue, size_t offset, size_t length) {
    note(issue, offset, length);
    hasTree_ = false;
    return false;
  }

  // What was read from `begin` on is left to std::regex.
  bool leave(RegexIssue issue, size_t begin) {
    if (reading_.issue == RegexIssue::kNone) note(issue, begin, pos_ - begin);
    return true;
  }

  // The same, and a library may refuse it.
  bool leaveOut(RegexIssue issue, size_t begin) {
    hasTree_ = false;
    return leave(issue, begin);
  }

  bool readChoice(RegexNode& node, int depth) {
    if (depth > kMaxDepth) {
      leaveOut(RegexIssue::kTooLarge, 0);
      return false;
    }
    std::vector<RegexNode> branches;
    do {
      if (!readSequence(branches.emplace_back(), depth)) return false;
    } while (take("|"));
    node = ChoiceOf(std::move(branches));
    return true;
  }

  bool readSequence(RegexNode& sequence, int depth) {
    // Room for a part of each byte up to the next group or branch, which is what most sequences consist of.
    sequence.parts.reserve(std::min(text_.find_first_of("()|", pos_), text_.size()) - pos_);
    while (!atEnd() && at() != '|' && at() != ')') {
      const size_t begin = pos_;
      RegexNode atom;
      bool isAssertion = false;
      if (!readAtom(atom, isAssertion, depth)) return false;
      if (atRepeat()) {
        if (isAssertion) return refuse(RegexIssue::kNothingToRepeat, pos_, 1);
        if (!readRepeat(atom, begin)) return false;
        if (atRepeat()) return refuse(RegexIssue::kSecondRepeat, pos_, 1);
      }
      sequence.parts.push_back(std::move(atom));
    }
    return true;
  }

  bool atRepeat() const { return at() == '*' || at() == '+' || at() == '?' || at() == '{'; }

  bool readRepeat(RegexNode& atom, size_t begin) {
    int min = 0;
    int max = RegexNode::kUnbounded;
    if (take("+")) {
      min = 1;
    } else if (take("?")) {
      max = 1;
    } else if (!take("*") && !readBraces(min, max)) {
      return false;
    }
    const bool lazy = take("?");
    judgeLoop(atom, min, max, begin);
    atom = {.kind = Kind::kRepeat, .parts = {std::move(atom)}, .min = min, .max = max, .lazy = lazy};
    return true;
  }

  // The libraries agree about loops over what may be empty unless an empty round uses up a count or clears the group.
  void judgeLoop(const RegexNode& body, int min, int max, size_t begin) {
    if (max == 1 || !MayBeEmpty(body)) return;
    if (max != RegexNode::kUnbounded && max != min) {
      leave(RegexIssue::kEmptyLoop, begin);
    } else if (Holds(body, IsFirstGroup) && !AlwaysSetsGroup(body)) {
      leave(RegexIssue::kGroupInLoop, begin);
    }
  }

  bool readBraces(int& min, int& max) {
    const size_t begin = pos_++;
    if (!readCount(min)) return refuse(RegexIssue::kBadBraces, begin, 1);
    max = min;
    if (take(",")) {
      max = RegexNode::kUnbounded;
      if (at() != '}' && !readCount(max)) return refuse(RegexIssue::kBadBraces, begin, 1);
      if (max != RegexNode::kUnbounded && max < min) {
        return refuse(RegexIssue::kBracesOrder, begin, pos_ - begin + 1);
      }
    }
    if (!take("}")) return refuse(RegexIssue::kBadBraces, begin, 1);
    if (std::max(min, max) > kMaxSize) leaveOut(RegexIssue::kTooLarge, begin);
    return true;
  }

  // Counts past all bounds are read as some that are too large.
  bool readCount(int& count) {
    const size_t begin = pos_;
    for (count = 0; IsDigit(at()); ++pos_) count = std::min(count * 10 + (at() - '0'), 100'000'000);
    return pos_ > begin;
  }

  bool readAtom(RegexNode& atom, bool& isAssertion, int depth) {
    const size_t begin = pos_;
    const char c = text_[pos_++];
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
        atom.bytes = ~Bytes("\n\r");
        return true;
      case '*':
      case '+':
      case '?':
        return refuse(RegexIssue::kNothingToRepeat, begin, 1);
      case '{':
      case '}':
      case ']':
        return refuse(RegexIssue::kPlainBracket, begin, 1);
      default:
        atom.kind = Kind::kByte;
        atom.bytes = Range(static_cast<uint8_t>(c), static_cast<uint8_t>(c));
        return c != '\0' || leaveOut(RegexIssue::kOddByte, begin);
    }
  }

  bool readGroup(RegexNode& atom, bool& isAssertion, int depth) {
    const size_t begin = pos_ - 1;
    std::optional<size_t> group;
    if (take("?=")) {
      atom.kind = Kind::kLookAhead;
    } else if (take("?!")) {
      atom.kind = Kind::kNegativeLookAhead;
    } else if (take("?<=") || take("?<!")) {
      return refuse(RegexIssue::kLookBehind, begin, pos_ - begin);
    } else if (take("?<") || take("?P<")) {
      return refuse(RegexIssue::kNamedGroup, begin, pos_ - begin);
    } else if (!take("?:")) {
      if (at() == '?') return refuse(RegexIssue::kBadGroup, begin, 3);
      group = closedGroups_.size();
      closedGroups_.push_back(false);
    }
    isAssertion = atom.kind != Kind::kSequence;
    lookAheads_ += isAssertion ? 1 : 0;
    RegexNode content;
    if (!readChoice(content, depth + 1)) return false;
    if (!take(")")) return refuse(RegexIssue::kUnclosedGroup, begin, 1);
    lookAheads_ -= isAssertion ? 1 : 0;
    if (group) closedGroups_[*group] = true;
    if (group == 0U) atom.kind = Kind::kFirstGroup;
    if (atom.kind == Kind::kSequence) {
      atom = std::move(content);
      return true;
    }
    atom.parts.push_back(std::move(content));
    if (isAssertion) judgeLookAhead(atom, begin);
    return true;
  }

  // Inside a look-ahead the libraries take its place for the beginning of the subject, each in its own way; that does
  // not matter to "^", which LLVM's library handles as ECMAScript says.
  void judgeLookAhead(const RegexNode& lookAhead, size_t begin) {
    const RegexNode& content = lookAhead.parts[0];
    if (BeginsWithEdge(content)) leave(RegexIssue::kEdgeInLookAhead, begin);
    if (Holds(content, IsFirstGroup)) leave(RegexIssue::kGroupInLookAhead, begin);
    if (EndlessLookAheads(lookAhead) > 1) leave(RegexIssue::kLoopsInLookAhead, begin);
  }

  bool readEscape(RegexNode& atom, bool& isAssertion) {
    const size_t begin = pos_ - 1;
    const char c = at();
    if (c == 'b' || c == 'B') {
      ++pos_;
      atom.kind = c == 'b' ? Kind::kWordBoundary : Kind::kNotWordBoundary;
      isAssertion = true;
      return true;
    }
    if (c >= '1' && c <= '9') return readBackReference(atom, begin);
    atom.kind = Kind::kByte;
    bool isByte = true;
    return readEscapedBytes(atom.bytes, isByte);
  }

  // LLVM's library numbers the groups in a look-ahead by themselves.
  bool readBackReference(RegexNode& atom, size_t begin) {
    int group = 0;
    readCount(group);
    const size_t index = static_cast<size_t>(group) - 1;
    if (lookAheads_ > 0 || index >= closedGroups_.size() || !closedGroups_[index]) {
      return refuse(RegexIssue::kUnknownGroup, begin, pos_ - begin);
    }
    atom.kind = Kind::kBackReference;
    return leave(RegexIssue::kBackReference, begin);
  }

  // What follows a backslash and stands for one byte or, then clearing `isByte`, for one of a class.
  bool readEscapedBytes(ByteSet& bytes, bool& isByte) {
    constexpr std::string_view kLetters = "tnvfr";
    constexpr std::string_view kControls = "\t\n\v\f\r";
    const size_t begin = pos_ - 1;
    if (atEnd()) return refuse(RegexIssue::kCutEscape, begin, 1);
    const char c = text_[pos_++];
    const size_t control = kLetters.find(c);
    if (IsOneOf(c, "dDwWsS")) {
      isByte = false;
      bytes = *ClassOfName(std::string(1, static_cast<char>(c | 0x20)));
      if (c < 'a') bytes.flip();
    } else if (control != std::string_view::npos) {
      bytes = Bytes(kControls.substr(control, 1));
    } else if (c == 'x' || c == 'u') {
      return readHex(bytes, begin, c == 'x' ? 2 : 4);
    } else if (c == 'c') {
      if (!IsLetter(at())) return refuse(RegexIssue::kBadControl, begin, 2);
      bytes.set(static_cast<size_t>(text_[pos_++] % 32));
    } else if (c == '0' || c == '\0') {
      bytes.set(0);
      return leaveOut(RegexIssue::kOddByte, begin);
    } else if (IsLetter(c) || IsDigit(c) || c == '_') {
      return refuse(RegexIssue::kBadEscape, begin, 2);
    } else {
      bytes.set(static_cast<unsigned char>(c));
    }
    return true;
  }

  bool readHex(ByteSet& bytes, size_t begin, size_t digits) {
    size_t value = 0;
    for (size_t i = 0; i < digits; ++i) {
      const int digit = HexValue(at());
      if (digit < 0) return refuse(RegexIssue::kBadHex, begin, 2);
      value = value * 16 + static_cast<size_t>(digit);
      ++pos_;
    }
    bytes.set(value % bytes.size());
    return (value > 0 && value < bytes.size()) || leaveOut(RegexIssue::kOddByte, begin);
  }

  // Behind the "[".
  bool readClass(ByteSet& bytes) {
    const size_t begin = pos_ - 1;
    const bool negated = take("^");
    if (at() == ']') leaveOut(RegexIssue::kEmptyClass, begin);
    while (!atEnd() && at() != ']') {
      if (!readClassItem(bytes)) return false;
    }
    if (!take("]")) return refuse(RegexIssue::kUnclosedClass, begin, 1);
    if (negated) bytes.flip();
    return true;
  }

  bool atRange() const { return at() == '-' && at(1) != ']' && pos_ + 1 < text_.size(); }

  // A byte, a class or a range of bytes. A hyphen stands for itself at either end of the class only.
  bool readClassItem(ByteSet& bytes) {
    const size_t begin = pos_;
    ByteSet item;
    ByteSet last;
    bool isByte = true;
    if (!readClassAtom(item, isByte)) return false;
    if (text_[begin] == '-' && at() == '-') leaveOut(RegexIssue::kOddClass, begin);
    const bool isNamed = !isByte && text_[begin] == '[';
    if (isNamed && atRange()) {
      leaveOut(RegexIssue::kOddClass, begin);
    } else if (atRange()) {
      ++pos_;
      if (!readClassAtom(last, isByte)) return false;
      if (!isByte) return refuse(RegexIssue::kRangeOfClass, begin, pos_ - begin);
      if (!fillRange(item, last, begin)) return false;
      if (atRange()) leaveOut(RegexIssue::kOddClass, begin);
    }
    bytes |= item;
    return true;
  }

  bool readClassAtom(ByteSet& item, bool& isByte) {
    const size_t begin = pos_;
    const char c = text_[pos_++];
    if (c == '[' && !atEnd() && IsOneOf(at(), ":.=")) {
      isByte = false;
      return readNamedClass(item);
    }
    if (c == '\\' && take("b")) {
      item.set('\b');
      return true;
    }
    if (c == '\\') {
      bool isEscapedByte = true;
      if (!readEscapedBytes(item, isEscapedByte)) return false;
      isByte = isByte && isEscapedByte;
      return true;
    }
    item.set(static_cast<unsigned char>(c));
    return c != '\0' || leaveOut(RegexIssue::kOddByte, begin);
  }

  // "[:alpha:]" and the like.
  bool readNamedClass(ByteSet& item) {
    const size_t begin = pos_ - 1;
    const std::string close{at(), ']'};
    const size_t end = text_.find(close, pos_ + 1);
    if (end == std::string_view::npos) return refuse(RegexIssue::kUnclosedClass, begin, 2);
    const std::string_view name = text_.substr(pos_ + 1, end - pos_ - 1);
    const std::optional<ByteSet> known = at() == ':' ? ClassOfName(name) : std::nullopt;
    pos_ = end + close.size();
    item = known.value_or(ByteSet().set());
    return known.has_value() || leaveOut(RegexIssue::kOddClass, begin);
  }

  // Adds to `item`, which holds the first byte of a range, the rest up to the byte in `last`. Where a char is signed, a
  // range across 128 runs backwards.
  bool fillRange(ByteSet& item, const ByteSet& last, size_t begin) {
    size_t from = 0;
    size_t to = 0;
    while (!item[from]) ++from;
    while (!last[to]) ++to;
    if (from > to) return refuse(RegexIssue::kRangeOrder, begin, pos_ - begin);
    for (size_t b = from; b <= to; ++b) item.set(b);
    return (from < 128) == (to < 128) || leaveOut(RegexIssue::kOddByte, begin);
  }

  std::string_view text_;
  size_t pos_ = 0;
  int lookAheads_ = 0;              // around `pos_`
  std::vector<bool> closedGroups_;  // by number, whether the group's ")" has been read
  bool hasTree_ = true;
  RegexReading reading_;
};

}  // namespace

RegexReading ReadRegex(std::string_view expression) { return RegexReader(expression).read(); }
