#include "regex/expression.h"

#include "regex/regex_tree.h"

namespace {

constexpr size_t kMaxTableSize = 128 * 1024;  // bytes per expression

}  // namespace

Expression::Expression(std::string_view text) : regex_(text) {
  const std::optional<RegexTree> tree = ReadRegexTree(text);
  if (tree) filter_ = std::make_unique<LineAutomaton>(std::vector<RegexNode>{tree->root}, kMaxTableSize);
}

bool Expression::search(std::string_view line, Regex::Match& match) {
  // The automaton takes a line feed for the end of a line.
  if (filter_ != nullptr && line.find('\n') == std::string_view::npos && !filter_->mayMatch(line)) return false;
  return regex_.search(line, match);
}

Expression& ExpressionCache::get(std::string_view text) {
  const auto known = expressions_.find(text);
  return known != expressions_.end() ? known->second : expressions_.try_emplace(std::string(text), text).first->second;
}
