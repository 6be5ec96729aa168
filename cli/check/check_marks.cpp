#include <algorithm>
#include <string>
#include <string_view>

#include "cli/check/checks.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "rules/rule_syntax.h"

namespace {

// What stands between the two "@".
constexpr char kMarkLetters[] = {kRegexMark[1], kLastMark[1], kStackMark[1], kOrMark[1], kAndMark[1]};

// A mark in a text, complete or as somebody may have meant it.
struct Mark {
  size_t offset = 0;
  size_t size = 0;
  std::string meant;  // the complete mark
  bool isComplete = false;
};

size_t SkipBlanks(std::string_view text, size_t pos) {
  while (pos < text.size() && text[pos] == ' ') ++pos;
  return pos;
}

char UpperOf(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool IsMarkLetter(char c) {
  return std::find(std::begin(kMarkLetters), std::end(kMarkLetters), UpperOf(c)) != std::end(kMarkLetters);
}

std::string MarkOf(char letter) { return {'@', UpperOf(letter), '@'}; }

// The mark that begins at `at`; of size 0 when there is none. Half a mark of a letter could be a word or an address of
// something else, so it counts in front only; a bar or an ampersand at an "@" has no other sense.
Mark MarkAt(std::string_view text, size_t at) {
  const auto byte = [text](size_t pos) { return pos < text.size() ? text[pos] : '\0'; };
  if (byte(at) == '@') {
    const size_t letter = SkipBlanks(text, at + 1);
    if (!IsMarkLetter(byte(letter))) return {};
    const size_t close = SkipBlanks(text, letter + 1);
    if (byte(close) == '@') {
      const std::string meant = MarkOf(byte(letter));
      return {at, close + 1 - at, meant, text.substr(at, close + 1 - at) == meant};
    }
    const bool isLetter = byte(letter) != '|' && byte(letter) != '&';
    if (letter != at + 1 || (isLetter && (at != 0 || byte(letter) > 'Z'))) return {};
    return {at, 2, MarkOf(byte(letter)), false};
  }
  const bool isSign = byte(at) == '|' || byte(at) == '&';
  const bool isLetterInFront = at == 0 && byte(at) <= 'Z' && IsMarkLetter(byte(at));
  if (byte(at + 1) == '@' && (isSign || isLetterInFront)) return {at, 2, MarkOf(byte(at)), false};
  return {};
}

std::vector<Mark> MarksOf(std::string_view text) {
  std::vector<Mark> marks;
  const std::vector<Variable> variables = VariablesOf(text);
  for (size_t pos = 0; pos < text.size();) {
    const auto variable = std::find_if(variables.begin(), variables.end(),
                                       [pos](const Variable& v) { return v.isClosed && v.begin == pos; });
    if (variable != variables.end()) {
      pos = variable->end;
      continue;
    }
    Mark mark = MarkAt(text, pos);
    pos += mark.size == 0 ? 1 : mark.size;
    if (mark.size != 0) marks.push_back(std::move(mark));
  }
  return marks;
}

// Where a sign stands between two "@" that makes no mark; npos when none does.
size_t FindUnknownMark(std::string_view text) {
  for (size_t pos = text.find('@'); pos != std::string_view::npos; pos = text.find('@', pos + 1)) {
    const size_t letter = pos + 1;
    if (letter + 1 >= text.size() || text[letter + 1] != '@' ||
        std::string_view(" @{}").find(text[letter]) != std::string_view::npos) {
      continue;
    }
    if (!IsMarkLetter(text[letter])) return pos;
    pos = letter + 1;
  }
  return std::string_view::npos;
}

class MarkCheck {
 public:
  MarkCheck(const RuleModel& model, Findings& findings) : model_(model), findings_(findings) {}

  // The names that variables of this entry can have.
  void begin(const PlacedEntry& entry) {
    records_.clear();
    for (const PlacedRule& rule : entry.rules) {
      for (const PlacedParam& param : rule.params) records_.push_back(rule.recordName(param));
    }
  }

  void checkKeyWords(const PlacedText& keyWords) {
    const std::string& text = keyWords.text();
    const KeyWordForm form = FormOf(text);
    for (const Mark& mark : MarksOf(text)) {
      const bool isSeparator = mark.meant == kOrMark || mark.meant == kAndMark;
      if (!mark.isComplete) {
        // In an expression a bar beside an "@" is one.
        if (form == KeyWordForm::kRegex && isSeparator) continue;
        addBroken(keyWords, mark, form == KeyWordForm::kOr);
      } else if (mark.meant == kLastMark || mark.meant == kStackMark) {
        addWrongPlace(keyWords, mark, "is plain text in keywords; it belongs in front of a parameter's expression");
      } else if (form == KeyWordForm::kRegex && isSeparator) {
        const bool isOr = mark.meant == kOrMark;
        addWrongPlace(keyWords, mark,
                      isOr ? "does not separate terms of an expression; write \"|\""
                           : "does not separate terms of an expression; write \".*\"")
            .fix = Fix{keyWords.json.span(mark.offset, mark.size), isOr ? "|" : ".*"};
      } else if (mark.meant == kRegexMark && mark.offset > 0) {
        addWrongPlace(keyWords, mark, "is plain text here; it counts at the start of the keywords only");
      } else if (form == KeyWordForm::kOr && mark.meant == kAndMark) {
        findings_.add(Code::kMarksMixed, model_.matchFile, keyWords.json.span(mark.offset, mark.size),
                      Quoted(kAndMark) + " is plain text in an expression with " + Quoted(kOrMark) +
                          ": this term is never found");
      }
    }
    checkUnknownMark(keyWords);
    checkVariableEnds(keyWords);
    checkBareNames(keyWords);
  }

  void checkPattern(const PlacedText& pattern) {
    size_t lastMarks = 0;
    size_t stackMarks = 0;
    const std::string& text = pattern.text();
    for (const Mark& mark : MarksOf(text)) {
      if (!mark.isComplete) {
        // In an expression a bar beside an "@" is one.
        if (mark.meant != kOrMark && mark.meant != kAndMark) addBroken(pattern, mark, false);
      } else if (mark.meant == kRegexMark) {
        addWrongPlace(pattern, mark, "is plain text in a parameter, which is an expression in any case").fix =
            Fix{pattern.json.span(mark.offset, mark.size), ""};
      } else if (mark.meant == kOrMark || mark.meant == kAndMark) {
        const bool isOr = mark.meant == kOrMark;
        addWrongPlace(pattern, mark,
                      isOr ? "does not separate terms of an expression; write \"|\""
                           : "does not separate terms of an expression; write \".*\"")
            .fix = Fix{pattern.json.span(mark.offset, mark.size), isOr ? "|" : ".*"};
      } else if (mark.meant == kLastMark) {
        if (++lastMarks > 1) addWrongPlace(pattern, mark, "is plain text behind the first " + Quoted(kLastMark));
        if (lastMarks == 1) checkFrontOfLast(pattern, mark);
      } else if (++stackMarks > 1) {
        addUseless(pattern, mark, "a second " + Quoted(kStackMark) + " has no effect");
      } else if (mark.offset > 0 && lastMarks == 0) {
        addUseless(pattern, mark,
                   Quoted(kStackMark) + " is taken out of the expression wherever it stands; put it in front");
      }
    }
    checkNothingBehind(pattern);
    checkUnknownMark(pattern);
    checkVariableEnds(pattern);
    checkBareNames(pattern);
  }

  void checkVariableEnds(const PlacedText& text) {
    size_t begin = 0;
    const auto report = [&](size_t from, size_t to) {
      for (size_t pos = text.text().find(kCloseMark, from); pos < to; pos = text.text().find(kCloseMark, pos + 1)) {
        const size_t brace = text.text().rfind('{', pos);
        // "x{2}@" is a count, and "\}" a sign.
        if (pos > 0 && text.text()[pos - 1] == '\\') continue;
        if (brace != std::string::npos && brace >= from &&
            text.text().find_first_not_of("0123456789,", brace + 1) == pos) {
          continue;
        }
        findings_.add(Code::kVariableUnclosed, model_.matchFile, text.json.span(pos, 2),
                      "no " + Quoted(kOpenMark) + " stands in front of this " + Quoted(kCloseMark));
      }
    };
    for (const Variable& variable : VariablesOf(text.text())) {
      report(begin, variable.begin);
      begin = variable.end;
      if (variable.isClosed) continue;
      findings_.add(Code::kVariableUnclosed, model_.matchFile,
                    text.json.span(variable.begin, variable.end - variable.begin),
                    "this variable has no closing " + Quoted(kCloseMark));
      return;
    }
    report(begin, text.text().size());
  }

 private:
  void checkUnknownMark(const PlacedText& text) {
    const size_t at = FindUnknownMark(text.text());
    if (at == std::string::npos) return;
    findings_
        .add(Code::kMarkBroken, model_.matchFile, text.json.span(at, 3),
             Quoted(text.text().substr(at, 3)) + " is no mark but plain text, which is found where a log holds it")
        .severity = Severity::kWarning;
  }

  // The name of a record in other brackets than a variable has, or in none.
  void checkBareNames(const PlacedText& text) {
    const std::vector<Variable> variables = VariablesOf(text.text());
    for (const std::string& name : records_) {
      const size_t pos = text.text().find(name);
      const bool isInside = std::any_of(variables.begin(), variables.end(), [&](const Variable& v) {
        return v.begin <= pos && (pos < v.end || !v.isClosed);
      });
      if (pos == std::string::npos || isInside || text.text().find(kCloseMark, pos) != std::string::npos) continue;
      findings_.add(Code::kVariableUnclosed, model_.matchFile, text.json.span(pos, name.size()),
                    "the name of a record is plain text here; its value is " + Quoted(VariableOf(name)));
      return;
    }
  }

  Finding& addWrongPlace(const PlacedText& text, const Mark& mark, const std::string& why) {
    const Code code = mark.meant == kRegexMark ? Code::kRegexMarkInside : Code::kMarkBroken;
    return findings_.add(code, model_.matchFile, text.json.span(mark.offset, mark.size),
                         Quoted(mark.meant) + " " + why);
  }

  void addUseless(const PlacedText& text, const Mark& mark, const std::string& why) {
    findings_.add(Code::kMarkUseless, model_.matchFile, text.json.span(mark.offset, mark.size), why);
  }

  // `isTerm`: it spoils one term of several.
  void addBroken(const PlacedText& text, const Mark& mark, bool isTerm) {
    const Span span = text.json.span(mark.offset, mark.size);
    Finding& finding = findings_.add(Code::kMarkBroken, model_.matchFile, span,
                                     Quoted(text.text().substr(mark.offset, mark.size)) +
                                         " is plain text that no log holds; did you mean " + Quoted(mark.meant) + "?");
    finding.fix = Fix{span, mark.meant};
    if (isTerm) finding.severity = Severity::kWarning;
  }

  void checkFrontOfLast(const PlacedText& pattern, const Mark& mark) {
    const std::string front = pattern.text().substr(0, mark.offset);
    if (front.empty()) return;
    const Span span = pattern.json.span(0, mark.offset);
    const std::string why = "what stands in front of " + Quoted(kLastMark) + " is dropped";
    const std::string bothMarks = std::string(kLastMark) + std::string(kStackMark);
    if (front.find(kStackMark) != std::string::npos) {
      findings_
          .add(Code::kMarkBroken, model_.matchFile, span,
               why + ", " + Quoted(kStackMark) + " too; write " + Quoted(bothMarks))
          .fix = Fix{{span.begin, pattern.json.span(mark.offset, mark.size).end}, bothMarks};
    } else if (mark.offset + mark.size == pattern.text().size()) {
      findings_
          .add(Code::kValueEmpty, model_.matchFile, pattern.json.span(mark.offset, mark.size),
               "nothing stands behind " + Quoted(kLastMark) + ", and what stands in front of it is dropped; write " +
                   Quoted(std::string(kLastMark) + front))
          .fix = Fix{{span.begin, pattern.json.span(mark.offset, mark.size).end},
                     std::string(kLastMark) + model_.matchFile.text.substr(span.begin, span.end - span.begin)};
    } else {
      findings_.add(Code::kMarkUseless, model_.matchFile, span, why);
    }
  }

  void checkNothingBehind(const PlacedText& pattern) {
    const std::string_view applied = AppliedPattern(pattern.text());
    const bool isEmptyLast = applied.empty() && pattern.text() == kLastMark;
    const bool isEmptyStack = !applied.empty() && applied.find_first_not_of("@T") == std::string_view::npos &&
                              IsStackPattern(pattern.text()) && applied.size() % kStackMark.size() == 0;
    if (!isEmptyLast && !isEmptyStack) return;
    findings_.add(Code::kValueEmpty, model_.matchFile, pattern.span,
                  std::string("no expression stands behind ") +
                      (isEmptyStack ? Quoted(kStackMark) + ": the stack" : Quoted(kLastMark) + ": the value") +
                      " is always empty");
  }

  const RuleModel& model_;
  Findings& findings_;
  std::vector<std::string> records_;
};

}  // namespace

void CheckMarks(const RuleModel& model, Findings& findings) {
  MarkCheck check(model, findings);
  for (const PlacedEntry& entry : model.entries) {
    check.begin(entry);
    for (const PlacedRule& rule : entry.rules) {
      check.checkKeyWords(rule.keyWords);
      check.checkVariableEnds(rule.depend);
      for (const PlacedParam& param : rule.params) check.checkPattern(param.pattern);
    }
  }
}
