#include "cli/check/regex_faults.h"

#include <regex>
#include <vector>

namespace {

constexpr int kMaxDepth = 1000;     // groups inside groups
constexpr int kMaxCount = 100'000;  // of this machine's library
constexpr size_t kTellsNothing = static_cast<size_t>(-1);

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsOneOf(char c, std::string_view set) { return c != '\0' && set.find(c) != std::string_view::npos; }
bool IsHex(char c) { return IsDigit(c) || IsOneOf(c, "abcdefABCDEF"); }

// Reads an expression for its first fault. The read... functions return false once there is one.
class FaultFinder {
 public:
  explicit FaultFinder(std::string_view text) : text_(text) {}

  std::optional<RegexFault> find() {
    if (readChoice(0) && pos_ < text_.size()) refuse(pos_, 1, "there is no \"(\" for this \")\"");
    return fault_;
  }

 private:
  char at(size_t ahead = 0) const { return pos_ + ahead < text_.size() ? text_[pos_ + ahead] : '\0'; }
  bool atEnd() const { return pos_ >= text_.size(); }

  bool take(std::string_view part) {
    if (text_.substr(pos_, part.size()) != part) return false;
    pos_ += part.size();
    return true;
  }

  bool refuse(size_t offset, size_t length, std::string reason) {
    if (!fault_) fault_ = RegexFault{false, offset, length, std::move(reason)};
    return false;
  }

  bool readChoice(int depth) {
    if (depth > kMaxDepth) return refuse(pos_, 1, "groups are nested too deeply");
    do {
      while (!atEnd() && at() != '|' && at() != ')') {
        if (!readTerm(depth)) return false;
      }
    } while (take("|"));
    return true;
  }

  bool readTerm(int depth) {
    const size_t begin = pos_;
    bool isAssertion = false;
    if (!readAtom(isAssertion, depth)) return false;
    if (!IsOneOf(at(), "*+?{")) return true;
    if (isAssertion) {
      return refuse(pos_, 1,
                    "there is nothing to repeat: \"" + std::string(text_.substr(begin, pos_ - begin)) +
                        "\" stands for a place in the line");
    }
    if (!readRepeat()) return false;
    if (IsOneOf(at(), "*+?{")) return refuse(pos_, 1, "a second repetition directly behind another");
    return true;
  }

  bool readRepeat() {
    const size_t begin = pos_;
    if (at() != '{') {
      ++pos_;
    } else {
      ++pos_;
      int least = 0;
      int most = 0;
      if (!readCount(begin, least)) return false;
      most = least;
      if (take(",") && at() != '}') {
        if (!readCount(begin, most)) return false;
        if (most < least) {
          return refuse(begin, pos_ - begin + 1, "the second number in the braces is smaller than the first");
        }
      }
      if (!take("}"))
        return refuse(begin, 1, "braces hold a number, or two with a comma; for a plain brace write \"\\{\"");
    }
    take("?");
    return true;
  }

  bool readCount(size_t begin, int& count) {
    const size_t first = pos_;
    for (count = 0; IsDigit(at()); ++pos_) {
      count = count * 10 + (at() - '0');
      if (count > kMaxCount) return refuse(first, 1, "the number of repetitions is too large");
    }
    if (pos_ > first) return true;
    return refuse(begin, 1, "braces hold a number, or two with a comma; for a plain brace write \"\\{\"");
  }

  bool readAtom(bool& isAssertion, int depth) {
    const size_t begin = pos_;
    const char c = text_[pos_++];
    switch (c) {
      case '(':
        return readGroup(begin, isAssertion, depth);
      case '[':
        return readClass(begin);
      case '\\':
        return readEscape(begin, isAssertion, false);
      case '^':
      case '$':
        isAssertion = true;
        return true;
      case '*':
      case '+':
      case '?':
        return refuse(begin, 1, std::string("there is nothing to repeat in front of \"") + c + "\"");
      case '{':
      case '}':
      case ']':
        return refuse(begin, 1, std::string("a plain \"") + c + "\" has to be written \"\\" + c + "\"");
      default:
        return true;
    }
  }

  bool readGroup(size_t begin, bool& isAssertion, int depth) {
    size_t number = kTellsNothing;
    if (take("?=") || take("?!")) {
      isAssertion = true;
    } else if (take("?<=") || take("?<!")) {
      return refuse(begin, pos_ - begin, "there is no looking behind; put it in front of the group that counts");
    } else if (take("?<") || take("?P<")) {
      return refuse(begin, pos_ - begin, "groups cannot have names");
    } else if (!take("?:")) {
      if (at() == '?') return refuse(begin, 3, "\"(?\" has to be followed by \":\", \"=\" or \"!\"");
      number = isClosed_.size();
      isClosed_.push_back(false);
    }
    if (!readChoice(depth + 1)) return false;
    if (!take(")")) return refuse(begin, 1, "there is no \")\" for this \"(\"");
    if (number != kTellsNothing) isClosed_[number] = true;
    return true;
  }

  // Behind the backslash at `begin`.
  bool readEscape(size_t begin, bool& isAssertion, bool inClass) {
    if (atEnd()) return refuse(begin, 1, "a backslash at the end");
    const char c = text_[pos_++];
    if (IsOneOf(c, "bB") && !inClass) {
      isAssertion = true;
      return true;
    }
    if (IsOneOf(c, "dDwWsStnvfr0") || (c == 'b' && inClass)) return true;
    if (c == 'x' || c == 'u') return readHex(begin, c == 'x' ? 2 : 4);
    if (c == 'c') {
      if (IsLetter(at())) return ++pos_, true;
      return refuse(begin, 2, "\"\\c\" has to be followed by a letter");
    }
    if (IsDigit(c) && !inClass) return readBackReference(begin, c);
    if (IsLetter(c) || IsDigit(c) || c == '_') {
      return refuse(begin, 2, std::string("\"\\") + c + "\" has no meaning; write \"" + c + "\"");
    }
    return true;
  }

  bool readHex(size_t begin, size_t digits) {
    for (size_t i = 0; i < digits; ++i) {
      if (!IsHex(at())) {
        return refuse(begin, 2,
                      "\"\\" + std::string(1, text_[begin + 1]) + "\" has to be followed by " + std::to_string(digits) +
                          " hexadecimal digits");
      }
      ++pos_;
    }
    return true;
  }

  bool readBackReference(size_t begin, char digit) {
    size_t number = static_cast<size_t>(digit - '0');
    for (; IsDigit(at()) && number < kMaxCount; ++pos_) number = number * 10 + static_cast<size_t>(at() - '0');
    const bool isKnown = number <= isClosed_.size() && isClosed_[number - 1];
    return isKnown || refuse(begin, pos_ - begin, "there is no group " + std::to_string(number) + " before this");
  }

  // Behind the "[" at `begin`.
  bool readClass(size_t begin) {
    take("^");
    while (!atEnd() && at() != ']') {
      const size_t first = pos_;
      int low = 0;
      int high = 0;
      if (!readClassItem(low)) return false;
      if (at() != '-' || at(1) == ']' || at(1) == '\0') continue;
      ++pos_;
      if (!readClassItem(high)) return false;
      const size_t length = pos_ - first;
      if (low < 0 || high < 0) {
        return refuse(first, length, "a range from or to a class of characters; put \"-\" last");
      }
      if (low > high) return refuse(first, length, "the end of this range comes before its beginning");
    }
    return take("]") || refuse(begin, 1, "there is no \"]\" for this \"[\"");
  }

  // `byte` is -1 for an item that is not a single byte.
  bool readClassItem(int& byte) {
    const size_t begin = pos_;
    const char c = text_[pos_++];
    if (c == '[' && IsOneOf(at(), ":.=")) return readNamedClass(begin, byte);
    byte = static_cast<unsigned char>(c);
    if (c != '\\') return true;
    bool isAssertion = false;
    if (!readEscape(begin, isAssertion, true)) return false;
    const char escaped = text_[begin + 1];
    byte = IsOneOf(escaped, "dDwWsS") ? -1 : ByteOfEscape(text_.substr(begin + 1, pos_ - begin - 1));
    return true;
  }

  static int ByteOfEscape(std::string_view escape) {
    constexpr std::string_view kLetters = "tnvfrb0";
    constexpr std::string_view kBytes("\t\n\v\f\r\b\0", 7);
    const size_t control = kLetters.find(escape[0]);
    if (control != std::string_view::npos) return kBytes[control];
    if (escape[0] == 'c') return escape[1] & 31;
    if (escape.size() > 1) return static_cast<int>(std::stoul(std::string(escape.substr(1)), nullptr, 16));
    return static_cast<unsigned char>(escape[0]);
  }

  // "[:alpha:]" and the like.
  bool readNamedClass(size_t begin, int& byte) {
    const std::string close{at(), ']'};
    const size_t end = text_.find(close, pos_ + 1);
    if (end == std::string_view::npos) return refuse(begin, 2, "there is no \"" + close + "\" for this");
    pos_ = end + close.size();
    byte = -1;
    return true;
  }

  std::string_view text_;
  size_t pos_ = 0;
  std::vector<bool> isClosed_;  // of each capture group, whether its ")" has been read
  std::optional<RegexFault> fault_;
};

std::string ReasonOf(std::regex_constants::error_type code) {
  namespace rc = std::regex_constants;
  if (code == rc::error_ctype || code == rc::error_collate) return "a class of an unknown name";
  if (code == rc::error_range) return "a range that makes no sense";
  if (code == rc::error_space || code == rc::error_complexity || code == rc::error_stack) return "it is too large";
  return "it does not compile";
}

}  // namespace

std::optional<RegexFault> FindRegexFault(const std::string& expression) {
  std::optional<RegexFault> fault = FaultFinder(expression).find();
  try {
    const std::regex compiled(expression);
    if (fault) fault->isPortability = true;
  } catch (const std::regex_error& error) {
    if (!fault) fault = RegexFault{false, 0, expression.size(), ReasonOf(error.code())};
  }
  return fault;
}
