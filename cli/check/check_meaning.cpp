// Expressions that are valid and hardly say what was meant: a class where alternatives or a text were, a number in a
// class, a backslash that is escaped once too often, characters of several bytes where one byte counts.

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/check/checks.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/expression_signs.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex_reader.h"
#include "rules/rule_syntax.h"

namespace {

constexpr std::string_view kClassEscapes = "dDwWsSbB";
constexpr std::string_view kRepeatedClasses = "dDwWsS";
constexpr std::string_view kRepetitions = "*+?{";
// Levels of logs and states of processes, which are put into a class in any order.
constexpr std::string_view kStateLetters = "VDIWEFSARTXZKP";

bool IsLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsWordByte(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }
bool IsOneOf(char c, std::string_view bytes) { return bytes.find(c) != std::string_view::npos; }
bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

// A doubtful part of an expression.
struct Doubt {
  size_t offset;
  size_t size;
  std::string message;
  std::optional<std::string> cure = {};  // as it stands in a file
};

// --- Classes ---

// "[INFO|WARN]": words between bars.
bool IsListOfWords(std::string_view body) {
  size_t longest = 0;
  size_t words = 0;
  for (size_t begin = 0; begin <= body.size(); ++words) {
    const size_t end = std::min(body.find('|', begin), body.size());
    if (!std::any_of(body.begin() + begin, body.begin() + end, IsLetter)) return false;
    longest = std::max(longest, end - begin);
    begin = end + 1;
  }
  return words > 1 && longest > 1;
}

// "[ERROR]", "[main]": a letter twice, or letters of one case in the order of a word.
bool IsWord(std::string_view body) {
  std::string letters(body);
  std::erase_if(letters, [](char c) { return !IsLetter(c); });
  std::string sorted = letters;
  std::sort(sorted.begin(), sorted.end());
  if (sorted.size() > 2 && std::adjacent_find(sorted.begin(), sorted.end()) != sorted.end()) return true;
  const bool isOneCase = std::all_of(letters.begin(), letters.end(), [](char c) { return c >= 'a'; }) ||
                         std::all_of(letters.begin(), letters.end(), [](char c) { return c < 'a'; });
  return letters.size() > 3 && letters.size() == body.size() && isOneCase && letters != sorted &&
         letters.find_first_of("aeiouAEIOU") != std::string::npos &&
         letters.find_first_not_of(kStateLetters) != std::string::npos;
}

// "[1-20]": a range of numbers of more than one digit.
size_t FindNumberRange(std::string_view body) {
  if (!std::all_of(body.begin(), body.end(), [](char c) { return IsDigit(c) || c == '-'; })) return body.npos;
  for (size_t dash = body.find('-', 1); dash != body.npos; dash = body.find('-', dash + 1)) {
    if (dash + 2 < body.size() && IsDigit(body[dash - 1]) && IsDigit(body[dash + 1]) && IsDigit(body[dash + 2])) {
      return dash;
    }
  }
  return body.npos;
}

// `body`: what stands in the brackets at `begin`.
std::optional<Doubt> JudgeClass(std::string_view body, size_t begin) {
  const std::string written = "[" + std::string(body) + "]";
  const bool isPlain =
      std::all_of(body.begin(), body.end(), [](char c) { return IsLetter(c) || IsDigit(c) || IsOneOf(c, " _:.|"); });
  const size_t wide = body.find("A-z");
  if (body.size() > 2 && body.front() == ':' && body.back() == ':') {
    return Doubt{begin, written.size(), "a class by name stands in a class of its own: " + Quoted("[" + written + "]"),
                 "[" + written + "]"};
  }
  if (wide != body.npos) {
    return Doubt{begin + 1 + wide, 3, "the signs between \"Z\" and \"a\" are in \"A-z\" too; write \"A-Za-z\"",
                 "A-Za-z"};
  }
  if (FindNumberRange(body) != body.npos) {
    return Doubt{begin, written.size(), "a class takes one digit and no number of several"};
  }
  if (isPlain && IsListOfWords(body)) {
    const std::string choice = "(?:" + std::string(body) + ")";
    return Doubt{begin, written.size(), "a class takes one byte of all these; alternatives are " + Quoted(choice),
                 choice};
  }
  if (isPlain && IsWord(body)) {
    return Doubt{begin, written.size(),
                 "a class takes one of these letters; the text itself is " + Quoted("\\[" + std::string(body) + "\\]")};
  }
  const auto odd = std::find_if_not(body.begin(), body.end(), IsAscii);
  if (odd == body.end()) return std::nullopt;
  const auto at = static_cast<size_t>(odd - body.begin());
  const std::string character(body.substr(at, std::max<size_t>(CharacterLength(body.substr(at)), 1)));
  return Doubt{begin + 1 + at, character.size(),
               "a class takes single bytes, and " + Quoted(character) + " has " + std::to_string(character.size())};
}

// The place of the bracket that ends the class at `begin`.
size_t EndOfClass(std::string_view expression, size_t begin) {
  for (size_t i = begin + 1; i < expression.size(); ++i) {
    if (expression[i] == '\\') {
      ++i;
    } else if (expression[i] == '[' && i + 1 < expression.size() && expression[i + 1] == ':') {
      i = std::min(expression.find(":]", i + 2), expression.size() - 1) + 1;
    } else if (expression[i] == ']') {
      return i;
    }
  }
  return expression.npos;
}

// --- Backslashes ---

// An escaped backslash, and what stands around it.
struct Backslash {
  char before;
  char next;
  char behind;  // that
};

bool IsDoubledTwice(const Backslash& sign, bool holdsClosing) {
  if (IsOneOf(sign.next, kClassEscapes)) {
    const bool isInPath = (IsWordByte(sign.before) || IsOneOf(sign.before, ":.-\\")) && IsLetter(sign.behind);
    return !isInPath;
  }
  if (sign.next == '.') return IsWordByte(sign.before) && !IsOneOf(sign.behind, kRepetitions);
  if (sign.next == '[') return sign.behind != '^';
  return sign.next == '|' || (sign.next == '(' && holdsClosing);
}

class MeaningReader {
 public:
  explicit MeaningReader(std::string_view expression)
      : expression_(expression),
        holdsDrive_(HoldsDrive(expression, "\\\\")),
        holdsClosing_(expression.find("\\\\)") != std::string_view::npos ||
                      ReadRegex(std::string(expression)).issue == RegexIssue::kUnclosedGroup) {}

  std::vector<Doubt> doubts() {
    for (size_t i = 0; i < expression_.size();) i = readAt(i);
    return std::move(doubts_);
  }

 private:
  char at(size_t place) const { return place < expression_.size() ? expression_[place] : '\0'; }

  // Returns the place behind what it has read.
  size_t readAt(size_t i) {
    if (at(i) == '\\') {
      if (at(i + 1) == '\\') readBackslash(i);
      if (at(i + 1) == 'u') readUnicode(i);
      return i + 2;
    }
    if (at(i) == '[') {
      const size_t end = EndOfClass(expression_, i);
      if (end == expression_.npos) return expression_.size();
      readClass(i, end);
      return end + 1;
    }
    if (!IsAscii(at(i))) return readWideCharacter(i);
    readLetter(i);
    return i + 1;
  }

  // The cure of a whole class is none for "any but these".
  void readClass(size_t begin, size_t end) {
    const bool isNegated = at(begin + 1) == '^';
    const size_t body = begin + (isNegated ? 2 : 1);
    std::optional<Doubt> doubt = JudgeClass(expression_.substr(body, end - body), body - 1);
    if (!doubt) return;
    if (isNegated && doubt->offset == begin + 1) doubt->cure.reset();
    doubts_.push_back(std::move(*doubt));
  }

  void readBackslash(size_t i) {
    const Backslash sign{i > 0 ? at(i - 1) : '\0', at(i + 2), at(i + 3)};
    if (sign.next == '\0' || holdsDrive_ || !IsDoubledTwice(sign, holdsClosing_)) return;
    const std::string escape = std::string("\\") + sign.next;
    doubts_.push_back({i, 3,
                       "this takes a backslash and then " + Quoted(std::string(1, sign.next)) + "; for \"" + escape +
                           "\" a rule file has two backslashes, not four",
                       "\\" + escape});
  }

  // "pid: d+": a letter by itself that is repeated is a class without its backslash.
  void readLetter(size_t i) {
    const bool isAlone = i == 0 || !(IsLetter(at(i - 1)) || IsDigit(at(i - 1)) || at(i - 1) == '\\');
    if (!isAlone || !IsOneOf(at(i), kRepeatedClasses) || !IsOneOf(at(i + 1), "*+{")) return;
    const std::string letter(1, at(i));
    doubts_.push_back({i, 1,
                       "this is the letter " + Quoted(letter) + "; the class is \"\\" + letter +
                           "\", with two backslashes in a rule file",
                       "\\\\" + letter});
  }

  void readUnicode(size_t i) {
    const std::string digits(expression_.substr(std::min(i + 2, expression_.size()), 4));
    const bool isByte = digits.size() == 4 && digits.starts_with("00") && digits[2] >= '8';
    if (isByte) {
      doubts_.push_back({i, 6, "this is one byte; in UTF-8 the character has two, so write the character itself"});
    }
  }

  size_t readWideCharacter(size_t i) {
    const size_t size = std::max<size_t>(CharacterLength(expression_.substr(i)), 1);
    const std::string character(expression_.substr(i, size));
    if (size > 1 && at(i + size) != '\0' && IsOneOf(at(i + size), kRepetitions)) {
      doubts_.push_back({i, size,
                         "what is repeated is the last byte of " + Quoted(character) + " alone; write " +
                             Quoted("(?:" + character + ")"),
                         "(?:" + character + ")"});
    }
    return i + size;
  }

  std::string_view expression_;
  bool holdsDrive_;
  bool holdsClosing_;
  std::vector<Doubt> doubts_;
};

class MeaningCheck {
 public:
  MeaningCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  void checkRule(const PlacedRule& rule) {
    const std::string& keyWords = rule.keyWords.text();
    if (FormOf(keyWords) == KeyWordForm::kRegex) check(rule.keyWords, kRegexMark.size());
    for (const PlacedParam& param : rule.params) {
      const std::string& pattern = param.pattern.text();
      check(param.pattern, pattern.size() - AppliedPattern(pattern).size());
    }
  }

  // Each part of a path is an expression.
  void checkPaths(const PlacedEntry& entry) { check(entry.subcataLog, 0); }

 private:
  void check(const PlacedText& text, size_t offset) {
    if (!text.isKnown) return;
    const std::string expression = text.text().substr(offset);
    for (Doubt& doubt : MeaningReader(expression).doubts()) {
      const Span span = text.json.span(offset + doubt.offset, doubt.size);
      Finding& finding = findings_.add(Code::kRegexUnlikely, model_.matchFile, span, std::move(doubt.message));
      if (doubt.cure) finding.fix = Fix{span, std::move(*doubt.cure)};
    }
  }

  const RuleModel& model_;
  Findings& findings_;
};

}  // namespace

void CheckMeaning(const RuleModel& model, Findings& findings) {
  MeaningCheck check(model, findings);
  for (const PlacedEntry& entry : model.entries) {
    check.checkPaths(entry);
    for (const PlacedRule& rule : entry.rules) check.checkRule(rule);
  }
}
