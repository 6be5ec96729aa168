#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <utility>

#include "cli/check/checks.h"
#include "cli/check/line_set.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

// Signs of an expression in plain keywords. Some are found in no log, others now and then.
struct Sign {
  std::string_view text;
  bool isCertain;
};

constexpr size_t kMaxHeldTogether = 200;  // alternatives of one rule

constexpr Sign kSigns[] = {
    {".*", true},    {".+", true},    {"\\d", true}, {"\\w", true},  {"\\s", true},  {"\\S", true},  {"\\W", true},
    {"\\D", true},   {"\\b", true},   {"\\B", true}, {"\\.", true},  {"\\(", true},  {"\\)", true},  {"\\[", true},
    {"\\]", true},   {"\\{", true},   {"\\}", true}, {"\\$", true},  {"\\^", true},  {"\\*", true},  {"\\+", true},
    {"\\?", true},   {"\\|", true},   {"[^", true},  {"[[:", true},  {"[0-9", true}, {"[a-z", true}, {"[A-Z", true},
    {"(?:", true},   {"(?!", true},   {"(?=", true}, {"(?i)", true}, {"(?<", true},  {"\\n", false}, {"\\t", false},
    {"\\x", false},  {"\\u", false},  {".?", false}, {"]+", false},  {"]*", false},  {")+", false},  {")*", false},
    {" || ", false}, {" && ", false},
};

bool IsWordByte(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

// What would be an escape of an expression and is a part of a path; a word boundary does not divide a word.
bool IsInForeignPath(const std::string& text, const Piece& sign) {
  if (sign.text.size() != 2 || sign.text[0] != '\\' || !IsWordByte(sign.text[1])) return false;
  const bool isInWord = sign.offset > 0 && IsWordByte(text[sign.offset - 1]) && sign.offset + 2 < text.size() &&
                        IsWordByte(text[sign.offset + 2]);
  return HoldsDrive(text, "\\") || HoldsDrive(text, "\\\\") ||
         (isInWord && (sign.text[1] == 'b' || sign.text[1] == 'B'));
}

// Where a place holder of a format stands, "%s" or "%08lx"; npos when none does.
size_t FindPlaceHolder(const std::string& text) {
  for (size_t pos = text.find('%'); pos != std::string::npos; pos = text.find('%', pos + 1)) {
    const size_t letter = text.find_first_not_of("0123456789.-#lzh", pos + 1);
    const bool isNumber = pos > 0 && std::isdigit(static_cast<unsigned char>(text[pos - 1])) != 0;
    if (!isNumber && letter != std::string::npos &&
        std::string_view("sdiuxXpcf").find(text[letter]) != std::string::npos &&
        (letter + 1 == text.size() || !IsWordByte(text[letter + 1]))) {
      return pos;
    }
  }
  return std::string::npos;
}

// Where such a sign stands in `text`; the first that is certain, else any.
std::optional<std::pair<Piece, bool>> FindSign(const std::string& text) {
  for (const Sign& sign : kSigns) {
    const Piece piece{text.find(sign.text), std::string(sign.text)};
    if (piece.offset != std::string::npos && !IsInForeignPath(text, piece)) return {{piece, sign.isCertain}};
  }
  if (text.size() > 1 && text[0] == '^' && text[1] != '^' && text[1] != ' ') return {{{0, "^"}, false}};
  if (text.size() > 1 && text.back() == '$' && IsWordByte(text[text.size() - 2])) {
    return {{{text.size() - 1, "$"}, false}};
  }
  if (text.size() > 2 && text.front() == '*' && text.back() == '*' && IsWordByte(text[1])) return {{{0, "*"}, false}};
  for (size_t pos = text.find('|'); pos != std::string::npos; pos = text.find('|', pos + 1)) {
    const bool isMark = (pos > 0 && text[pos - 1] == '@') || (pos + 1 < text.size() && text[pos + 1] == '@');
    const bool isBetween = pos > 1 && pos + 2 < text.size() && text[pos - 1] != ' ' && text[pos + 1] != ' ';
    if (!isMark && isBetween) return {{{pos, "|"}, false}};
  }
  return std::nullopt;
}

class KeyWordCheck {
 public:
  KeyWordCheck(const RuleModel& model, LineSets& lines, Findings& findings)
      : model_(model), lines_(lines), findings_(findings) {}

  void check(const PlacedText& keyWords) {
    const std::string& text = keyWords.text();
    if (!keyWords.isKnown) return;
    if (text.empty()) {
      add(Code::kKeywordsEmpty, keyWords.span,
          keyWords.isPresent ? "empty \"keyWords\" accept every line"
                             : "a rule without \"keyWords\" accepts every line");
      return;
    }
    const KeyWordForm form = FormOf(text);
    if (form == KeyWordForm::kRegex) {
      checkExpression(keyWords);
    } else {
      const std::string_view mark = form == KeyWordForm::kOr ? kOrMark : kAndMark;
      if (form == KeyWordForm::kText || checkTermCount(keyWords, mark)) checkTerms(keyWords, form, mark);
    }
  }

 private:
  Finding& add(Code code, Span span, std::string message) {
    return findings_.add(code, model_.matchFile, span, std::move(message));
  }

  void checkExpression(const PlacedText& keyWords) {
    LineSet& lines = lines_.ofKeyWords(keyWords.text());
    if (lines.isAll()) {
      add(Code::kKeywordsEmpty, keyWords.span, "this expression accepts every line");
    } else if (lines.covers(lines_.ofPattern("."))) {
      add(Code::kKeywordsEmpty, keyWords.span, "this expression accepts every line that is not empty");
    } else if (lines.isEmpty()) {
      add(Code::kNeverMatches, keyWords.span, "no line can match this expression" + WhyNever(keyWords.text()));
    } else {
      for (const Piece& alternative : lines_.emptyAlternatives(keyWords.text().substr(kRegexMark.size()))) {
        const Span span = keyWords.json.span(kRegexMark.size() + alternative.offset, alternative.text.size());
        add(Code::kNeverMatches, span, "no line can match this alternative").severity = Severity::kWarning;
      }
    }
  }

  // False for an expression without a term. An empty term is dropped.
  bool checkTermCount(const PlacedText& keyWords, std::string_view mark) {
    const std::string& text = keyWords.text();
    if (!PiecesOf(text, std::string(mark)).empty()) return true;
    if (mark == kOrMark) {
      add(Code::kNeverMatches, keyWords.span, "no term is left: the rule accepts no line");
    } else {
      add(Code::kKeywordsEmpty, keyWords.span, "no term is left: the rule accepts every line");
    }
    return false;
  }

  void checkTerms(const PlacedText& keyWords, KeyWordForm form, std::string_view mark) {
    const std::string& text = keyWords.text();
    if (form != KeyWordForm::kText) checkEmptyTerms(keyWords, mark);
    const std::vector<Piece> terms =
        form == KeyWordForm::kText ? std::vector<Piece>{{0, text}} : PiecesOf(text, std::string(mark));
    const bool isOneOfSeveral = form == KeyWordForm::kOr && terms.size() > 1;
    if (isOneOfSeveral) checkCoveredTerms(keyWords, terms, mark);
    size_t size = 0;
    for (const Piece& term : terms) {
      const std::string fixedText = WithVariablesAs(term.text, "");
      size = isOneOfSeveral ? fixedText.size() : size + fixedText.size();
      const size_t lineFeed = term.text.find('\n');
      Finding* finding = nullptr;
      if (lineFeed != std::string::npos) {
        finding = &add(Code::kNeverMatches, keyWords.json.span(term.offset + lineFeed, 1),
                       "no line holds a line feed: this is never found");
      } else if (size > kMaxLineLen) {
        finding = &add(Code::kNeverMatches, keyWords.json.span(term.offset, term.text.size()),
                       "these are more than " + std::to_string(kMaxLineLen) +
                           " bytes, and longer lines are passed over: this is never found");
      }
      if (finding != nullptr && isOneOfSeveral) finding->severity = Severity::kWarning;
      checkSigns(keyWords, term, form);
    }
  }

  // Of alternatives, one that holds another takes no line that the other does not. Each is held against each, but for
  // lists that nobody has written by hand.
  void checkCoveredTerms(const PlacedText& keyWords, const std::vector<Piece>& terms, std::string_view mark) {
    if (terms.size() > kMaxHeldTogether) return;
    for (size_t i = 0; i < terms.size(); ++i) {
      const std::string fixedText = WithVariablesAs(terms[i].text, "\n");
      for (size_t k = 0; k < terms.size(); ++k) {
        const bool isSame = terms[i].text == terms[k].text;
        if (k == i || (isSame ? k > i : fixedText.find(terms[k].text) == std::string::npos)) continue;
        const Span span = keyWords.json.span(terms[i].offset, terms[i].text.size());
        const size_t begin = i > 0 ? terms[i].offset - mark.size() : terms[i].offset;
        add(Code::kTermRepeated, span,
            "every line that holds this holds " + Quoted(terms[k].text) + " too, another term")
            .fix = Fix{keyWords.json.span(begin, terms[i].text.size() + mark.size()), ""};
        break;
      }
    }
  }

  void checkEmptyTerms(const PlacedText& keyWords, std::string_view mark) {
    const std::string& text = keyWords.text();
    size_t begin = 0;
    while (true) {
      const size_t end = text.find(mark, begin);
      if (begin == std::min(end, text.size())) {
        // An empty last term has only the mark in front of it.
        const size_t place = end == std::string::npos ? begin - mark.size() : end;
        const Span span = keyWords.json.span(place, mark.size());
        add(Code::kTermEmpty, span, std::string("an empty term at this ") + Quoted(mark) + " is dropped").fix =
            Fix{span, ""};
      }
      if (end == std::string::npos) return;
      begin = end + mark.size();
    }
  }

  void checkSigns(const PlacedText& keyWords, const Piece& term, KeyWordForm form) {
    const auto sign = FindSign(WithVariablesAs(term.text, "") == term.text ? term.text : std::string());
    if (!sign) {
      const size_t holder = FindPlaceHolder(term.text);
      if (holder == std::string::npos) return;
      add(Code::kPlainExpression, keyWords.json.span(term.offset + holder, 1),
          "this place holder of a format is plain text here; a log holds what was filled in")
          .severity = Severity::kWarning;
      return;
    }
    const auto& [piece, isCertain] = *sign;
    Finding& finding = add(Code::kPlainExpression, keyWords.json.span(term.offset + piece.offset, piece.text.size()),
                           Quoted(piece.text) + " is plain text here; an expression begins with " + Quoted(kRegexMark));
    if (!isCertain || form == KeyWordForm::kOr) finding.severity = Severity::kWarning;
    // Behind the mark every other sign counts too, so this is not for texts with signs that were meant as such.
    if (form == KeyWordForm::kText && keyWords.json.text.find_first_of("()[]{}?+") == std::string::npos) {
      const size_t begin = keyWords.json.span(0, 1).begin;
      finding.fix = Fix{{begin, begin}, std::string(kRegexMark)};
    }
  }

  static std::string WhyNever(const std::string& text) {
    if (text.find('\n') != std::string::npos) return ": no line holds a line feed";
    for (size_t i = kRegexMark.size(); i < text.size(); ++i) {
      if (text[i] == '\\') {
        ++i;
      } else if (text[i] == '$') {
        return ": \"$\" is the end of the line; the sign itself is \"\\$\"";
      } else if (text[i] == '^' && i > kRegexMark.size() && text[i - 1] != '[') {
        return ": \"^\" is the start of the line; the sign itself is \"\\^\"";
      }
    }
    const bool hasCount = text.find('{') != std::string::npos;
    return hasCount ? " within " + std::to_string(kMaxLineLen) + " bytes" : "";
  }

  const RuleModel& model_;
  LineSets& lines_;
  Findings& findings_;
};

// --- Which rule takes whose lines ---

std::set<std::string> VariableNames(const PlacedRule& rule) {
  std::set<std::string> names;
  const auto add = [&names](const std::string& text) {
    for (const Variable& variable : VariablesOf(text)) names.insert(variable.name);
  };
  add(rule.keyWords.text());
  add(rule.depend.text());
  for (const PlacedParam& param : rule.params) add(param.pattern.text());
  return names;
}

struct Candidate {
  const PlacedRule* rule;
  LineSet* lines;
  std::set<std::string> variables;
};

// True when `earlier` is tried on every line on which `later` is, as long as it is there.
bool IsTriedWhenever(const Candidate& earlier, const Candidate& later) {
  const std::string& depend = earlier.rule->depend.text();
  const bool isMet = depend.empty() || later.rule->depend.text().find(depend) != std::string::npos;
  return isMet && std::includes(later.variables.begin(), later.variables.end(), earlier.variables.begin(),
                                earlier.variables.end());
}

bool IsEverSpent(const PlacedRule& rule) {
  return rule.record.command == kPlainCommand &&
         std::none_of(rule.params.begin(), rule.params.end(), [](const PlacedParam& param) {
           return param.pattern.text().find(kLastMark) != std::string::npos;
         });
}

class OrderCheck {
 public:
  OrderCheck(const RuleModel& model, LineSets& lines, Findings& findings)
      : model_(model), sets_(lines), findings_(findings) {}

  void check(const PlacedEntry& entry) {
    std::vector<Candidate> earlier;
    for (const PlacedRule& rule : entry.rules) {
      if (!rule.keyWords.isKnown) continue;
      const Candidate candidate{&rule, &sets_.ofKeyWords(rule.keyWords.text()), VariableNames(rule)};
      if (!candidate.lines->isEmpty()) report(earlier, candidate);
      if (!rule.isRefused) earlier.push_back(candidate);
    }
  }

 private:
  void report(const std::vector<Candidate>& earlier, const Candidate& rule) {
    const Candidate* shadow = nullptr;
    for (const Candidate& other : earlier) {
      const bool isSpent = IsEverSpent(*other.rule);
      if ((isSpent && shadow != nullptr) || !IsTriedWhenever(other, rule) || !other.lines->covers(*rule.lines)) {
        continue;
      }
      if (!isSpent) {
        add(Code::kRuleUnreachable, *rule.rule,
            "never reached: rule " + describe(*other.rule) + " takes all its lines");
        return;
      }
      shadow = &other;
    }
    if (shadow != nullptr) {
      add(Code::kRuleShadowed, *rule.rule,
          "reached only once rule " + describe(*shadow->rule) + ", which takes all its lines, is spent");
    }
  }

  void add(Code code, const PlacedRule& rule, std::string message) {
    findings_.add(code, model_.matchFile, rule.keyWords.span, std::move(message));
  }

  std::string describe(const PlacedRule& rule) const {
    return Quoted(rule.record.name) + " in line " + std::to_string(model_.matchLines->placeOf(rule.span.begin).line);
  }

  const RuleModel& model_;
  LineSets& sets_;
  Findings& findings_;
};

}  // namespace

void CheckKeyWords(const RuleModel& model, Findings& findings) {
  LineSets lines;
  KeyWordCheck keyWords(model, lines, findings);
  OrderCheck order(model, lines, findings);
  for (const PlacedEntry& entry : model.entries) {
    for (const PlacedRule& rule : entry.rules) keyWords.check(rule.keyWords);
    order.check(entry);
  }
}
