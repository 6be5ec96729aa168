#include "analysis/key_words.h"

#include <algorithm>

KeyWordForm FormOf(std::string_view keyWords) {
  if (keyWords.starts_with(kRegexMark)) return KeyWordForm::kRegex;
  if (keyWords.find(kOrMark) != std::string_view::npos) return KeyWordForm::kOr;
  if (keyWords.find(kAndMark) != std::string_view::npos) return KeyWordForm::kAnd;
  return KeyWordForm::kText;
}

bool TakeTerm(std::string_view& rest, std::string_view mark, std::string_view& term) {
  do {
    if (rest.empty()) return false;
    term = rest.substr(0, rest.find(mark));
    rest.remove_prefix(std::min(rest.size(), term.size() + mark.size()));
  } while (term.empty());
  return true;
}
