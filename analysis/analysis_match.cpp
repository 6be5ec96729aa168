#include "analysis/analysis.h"
#include "rules/rule_syntax.h"

bool Analysis::isKeyWordsMatch(const std::string& line, const FeatureRule& rule) const {
  const std::string_view expression = rule.keyWords;
  switch (FormOf(expression)) {
    case KeyWordForm::kRegex: {
      Regex::Match match;
      return cache_->expressions().search(expression.substr(kRegexMark.size()), line, match);
    }
    case KeyWordForm::kOr:
      return isMatchOrExpression(line, rule.keyWords);
    case KeyWordForm::kAnd:
      return isMatchAndExpression(line, rule.keyWords);
    default:
      return line.find(expression) != std::string::npos;
  }
}

bool Analysis::isMatchOrExpression(const std::string& line, const std::string& expression) const {
  std::string_view rest = expression;
  for (std::string_view term; TakeTerm(rest, kOrMark, term);) {
    if (line.find(term) != std::string::npos) return true;
  }
  return false;
}

bool Analysis::isMatchAndExpression(const std::string& line, const std::string& expression) const {
  std::string_view rest = expression;
  size_t from = 0;
  for (std::string_view term; TakeTerm(rest, kAndMark, term);) {
    const size_t pos = line.find(term, from);
    if (pos == std::string::npos) return false;
    from = pos + term.size();
  }
  return true;
}

bool Analysis::checkDepend(const FeatureRule& rule) const {
  return !rule.depend.empty() && !records_.knowsNameWith(rule.depend);
}

bool Analysis::getSeekInfo(const std::string& text, std::string& out) const {
  const std::string_view applied = AppliedPattern(text);
  const bool marked = applied.size() < text.size();
  out = std::string(applied);
  return marked;
}

std::streampos Analysis::getCursorInfo(std::stringstream& content, const std::string& line) {
  const std::streampos behind = content.tellg();
  curLine_ = line;
  curPosition_ = static_cast<int32_t>(std::streamoff(behind) - static_cast<std::streamoff>(line.size()) - 1);
  return behind;
}
