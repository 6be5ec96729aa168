#include "cli/explain/key_word_distance.h"

#include <algorithm>
#include <utility>

#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/expression_signs.h"
#include "regex/regex_reader.h"
#include "rules/rule_syntax.h"

namespace {

// The offset behind the character or escape at `pos`; an expression that is read has no other odd ends.
size_t BehindCharacter(std::string_view expression, size_t pos) {
  return std::min(expression.size(), pos + (expression[pos] == '\\' ? 2 : 1));
}

// The lengths of the prefixes of an expression that are expressions themselves, end in front of no repetition and
// take more than nothing.
std::vector<size_t> PrefixesOf(std::string_view expression) {
  std::vector<size_t> prefixes;
  for (size_t pos = 0; pos < expression.size();) {
    pos = BehindCharacter(expression, pos);
    const bool isRepeated =
        pos < expression.size() && std::string_view("*+?{").find(expression[pos]) != std::string::npos;
    if (isRepeated || !ReadRegex(expression.substr(0, pos)).tree) continue;
    if (!Regex(expression.substr(0, pos)).matchesWhole("")) prefixes.push_back(pos);
  }
  return prefixes;
}

}  // namespace

KeyWordDistance::KeyWordDistance(const std::string& keyWords) : keyWords_(keyWords) {
  const KeyWordForm form = FormOf(keyWords_);
  isRegex_ = form == KeyWordForm::kRegex;
  isAnd_ = form == KeyWordForm::kAnd;
  if (isRegex_) {
    const std::string expression = keyWords_.substr(kRegexMark.size());
    isSafe_ = ReadRegex(expression).tree.has_value();
    if (!isSafe_) return;
    for (Piece& alternative : AlternativesOf(expression)) {
      prefixes_.push_back(PrefixesOf(alternative.text));
      terms_.push_back(std::move(alternative.text));
    }
  } else if (form == KeyWordForm::kText) {
    terms_.push_back(keyWords_);
  } else {
    std::string_view rest = keyWords_;
    for (std::string_view term; TakeTerm(rest, isAnd_ ? kAndMark : kOrMark, term);) terms_.emplace_back(term);
  }
}

std::optional<KeyWordDistance::Score> KeyWordDistance::scoreOf(const std::string& line, Score floor) {
  const Score score = find(line, floor).score;
  if (score < floor) return std::nullopt;
  return score;
}

std::string KeyWordDistance::why(const std::string& line) {
  const Found found = find(line, {});
  if (isRegex_) {
    std::string why = "the expression found nothing";
    for (size_t i = 0; i < terms_.size() && found.score.bytes > 0; ++i) {
      if (!holdsPrefix(line, i, found.score.bytes, 0)) continue;
      return why + "; its beginning " + Quoted(terms_[i].substr(0, found.score.bytes)) + " would";
    }
    return why;
  }
  const auto part = [&](const std::string& term) {
    return found.score.bytes == 0
               ? ""
               : "; the line holds " + Quoted(term.substr(0, found.score.bytes)) + " of " + Quoted(term);
  };
  if (isAnd_) {
    if (found.score.terms >= terms_.size()) return "";
    const std::string& term = terms_[found.score.terms];
    std::string why = "term " + std::to_string(found.score.terms + 1) + " of " + std::to_string(terms_.size()) + ", " +
                      Quoted(term) + ", is missing";
    if (found.score.terms > 0) why += " after column " + std::to_string(CharacterCount(line.substr(0, found.end)));
    return why + part(term);
  }
  if (terms_.size() == 1) return Quoted(terms_[0]) + " is missing" + part(terms_[0]);
  std::string why = "none of the " + std::to_string(terms_.size()) + " terms is there";
  for (size_t i = 0; i < terms_.size() && found.score.bytes > 0; ++i) {
    if (holdsPrefix(line, i, found.score.bytes, 0)) return why + part(terms_[i]);
  }
  return why;
}

// The terms are looked for as the library does it.
KeyWordDistance::Found KeyWordDistance::find(const std::string& line, Score floor) {
  Found found;
  const auto extend = [&](size_t term) {
    size_t bytes = found.score.terms == floor.terms ? floor.bytes : 0;
    if (!holdsPrefix(line, term, bytes, found.end)) return;
    while (true) {
      const size_t next = longerPrefix(term, bytes);
      if (next == bytes || !holdsPrefix(line, term, next, found.end)) break;
      bytes = next;
    }
    found.score.bytes = std::max(found.score.bytes, bytes);
  };
  if (!isAnd_) {
    for (size_t term = 0; term < terms_.size(); ++term) extend(term);
    return found;
  }
  for (const std::string& term : terms_) {
    const size_t pos = line.find(term, found.end);
    if (pos == std::string::npos) break;
    found.end = pos + term.size();
    ++found.score.terms;
  }
  if (found.score.terms < terms_.size() && found.score.terms >= floor.terms) extend(found.score.terms);
  return found;
}

// Whether the line holds, from `from` on, the first `bytes` bytes of a term.
bool KeyWordDistance::holdsPrefix(const std::string& line, size_t term, size_t bytes, size_t from) {
  if (bytes == 0) return true;
  if (bytes > terms_[term].size()) return false;
  const std::string_view prefix = std::string_view(terms_[term]).substr(0, bytes);
  if (!isRegex_) return line.find(prefix, from) != std::string::npos;
  if (!std::binary_search(prefixes_[term].begin(), prefixes_[term].end(), bytes)) return false;
  Regex::Match match;
  return expressions_.search(prefix, line, match);
}

// The next longer prefix of a term; `bytes` itself when there is none.
size_t KeyWordDistance::longerPrefix(size_t term, size_t bytes) const {
  if (!isRegex_) return bytes + 1;
  const auto next = std::upper_bound(prefixes_[term].begin(), prefixes_[term].end(), bytes);
  return next == prefixes_[term].end() ? bytes : *next;
}
