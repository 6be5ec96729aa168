#include "cli/explain/likely_edit.h"

#include <algorithm>
#include <optional>

#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/spelling.h"
#include "regex/regex.h"
#include "regex/regex_reader.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

constexpr size_t kMaxExpressionLines = 20'000;  // that an expression is tried on
constexpr size_t kMinTerm = 3;                  // bytes; a shorter term is like too much

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// How two texts may differ and still be taken for the same.
struct Laxity {
  bool inCase;
  bool inBlanks;
  const char* words;
};

constexpr Laxity kLaxities[] = {
    {true, false, "only case differs"}, {false, true, "only blanks differ"}, {true, true, "case and blanks differ"}};

// The length of what `line` holds at its beginning that is like `term`; 0 for nothing.
size_t LikeLength(std::string_view line, std::string_view term, const Laxity& laxity) {
  size_t at = 0;
  for (size_t i = 0; i < term.size(); ++i) {
    if (laxity.inBlanks && IsBlank(term[i])) continue;
    while (laxity.inBlanks && at < line.size() && IsBlank(line[at])) ++at;
    if (at == line.size()) return 0;
    const bool isSame = line[at] == term[i] || (laxity.inCase && Lower(line[at]) == Lower(term[i]));
    if (!isSame) return 0;
    ++at;
  }
  return at;
}

std::string_view FindLike(std::string_view line, std::string_view term, const Laxity& laxity) {
  const size_t first = term.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  for (size_t begin = 0; begin < line.size(); ++begin) {
    if (Lower(line[begin]) != Lower(term[first])) continue;
    if (const size_t length = LikeLength(line.substr(begin), term, laxity)) return line.substr(begin, length);
  }
  return {};
}

bool IsExamined(std::string_view line) { return line.size() <= kMaxLineLen; }

std::string Sentence(std::string_view written, std::string_view likely, size_t number, const Laxity& laxity) {
  return "write " + Quoted(likely) + " for " + Quoted(written) + ", as line " + std::to_string(number) +
         " has it: " + laxity.words;
}

// What to write for a term that no line holds.
std::string LikelyTermEdit(std::string_view term, std::string_view log) {
  if (term.size() < kMinTerm || log.find(term) != std::string_view::npos) return "";
  std::string edit;
  for (const Laxity& laxity : kLaxities) {
    UntilLine(log, [&](size_t number, std::string_view line) {
      const std::string_view like = IsExamined(line) ? FindLike(line, term, laxity) : "";
      if (!like.empty()) edit = Sentence(term, like, number, laxity);
      return !like.empty();
    });
    if (!edit.empty()) break;
  }
  return edit;
}

// An expression that is lax: in lower case, with any blanks, or none, for a blank.
std::string LaxExpression(std::string_view expression, const Laxity& laxity) {
  std::string lax;
  bool inClass = false;
  for (size_t i = 0; i < expression.size(); ++i) {
    const char c = expression[i];
    if (c == '\\' && i + 1 < expression.size()) {
      lax.append({c, expression[++i]});
      continue;
    }
    if (c == '[') inClass = true;
    if (c == ']') inClass = false;
    if (laxity.inBlanks && c == ' ' && !inClass) {
      lax += "\\s*";
    } else {
      lax += laxity.inCase ? Lower(c) : c;
    }
  }
  return lax;
}

// What `line` holds that is like the expression; empty when there is nothing, or the expression cannot be read.
std::string_view SearchLike(Regex& lax, std::string_view line, const Laxity& laxity) {
  std::string read(line);
  if (laxity.inCase) std::transform(read.begin(), read.end(), read.begin(), Lower);
  Regex::Match match;
  if (!lax.search(read, match)) return {};
  return line.substr(static_cast<size_t>(match.whole.data() - read.data()), match.whole.size());
}

// What to write for an expression that finds nothing in the log, whose first line has that number.
std::string LikelyEdit(const std::string& expression, std::string_view log, size_t number) {
  for (const Laxity& laxity : kLaxities) {
    const std::string lax = LaxExpression(expression, laxity);
    if (lax == expression || !ReadRegex(lax).tree) continue;
    Regex regex(lax);
    std::string edit;
    UntilLine(log, [&](size_t at, std::string_view line) {
      if (at > kMaxExpressionLines) return true;
      const std::string_view like = IsExamined(line) ? SearchLike(regex, line, laxity) : "";
      if (like.empty()) return false;
      edit = "line " + std::to_string(at + number - 1) + " has " + Quoted(LineForPeople(like)) + ": " + laxity.words;
      return true;
    });
    if (!edit.empty()) return edit;
  }
  return "";
}

}  // namespace

std::string LikelyKeyWordEdit(const std::string& keyWords, std::string_view log) {
  const KeyWordForm form = FormOf(keyWords);
  if (form == KeyWordForm::kRegex) return LikelyEdit(keyWords.substr(kRegexMark.size()), log, 1);
  if (form == KeyWordForm::kText) return LikelyTermEdit(keyWords, log);
  std::string_view rest = keyWords;
  for (std::string_view term; TakeTerm(rest, form == KeyWordForm::kAnd ? kAndMark : kOrMark, term);) {
    std::string edit = LikelyTermEdit(term, log);
    if (!edit.empty()) return edit;
  }
  return "";
}

std::string LikelyExpressionEdit(const std::string& expression, std::string_view line, size_t number) {
  return LikelyEdit(expression, line, number);
}
