#include "regex/expression.h"

#include "regex/regex_reader.h"

namespace {

constexpr size_t kMaxTableSize = 128 * 1024;        // bytes per expression
constexpr size_t kMaxCacheSize = 32 * 1024 * 1024;  // bytes of all expressions of a cache
constexpr int kMissesForFilter = 16;                // searches in vain after which an automaton is made

}  // namespace

bool Expression::search(std::string_view line, Regex::Match& match) {
  // The automaton takes a line feed for the end of a line.
  if (filter_ != nullptr && line.find('\n') == std::string_view::npos && !filter_->mayMatch(line)) return false;
  if (regex_.search(line, match)) return true;
  if (misses_ < kMissesForFilter && ++misses_ == kMissesForFilter) {
    const std::optional<RegexTree> tree = ReadRegex(regex_.text()).tree;
    if (tree) filter_ = std::make_unique<LineAutomaton>(std::vector<RegexNode>{tree->root}, kMaxTableSize);
  }
  return false;
}

size_t Expression::memory() const {
  return sizeof(*this) + regex_.memory() + (filter_ == nullptr ? 0 : filter_->memory());
}

bool ExpressionCache::search(std::string_view text, std::string_view line, Regex::Match& match) {
  if (memory_ > kMaxCacheSize) clear();
  auto known = expressions_.find(text);
  if (known == expressions_.end()) {
    known = expressions_.try_emplace(std::string(text), text).first;
    memory_ += text.size() + known->second.memory();
  }
  Expression& expression = known->second;
  const size_t before = expression.memory();
  const bool found = expression.search(line, match);
  memory_ += expression.memory() - before;
  return found;
}

void ExpressionCache::clear() {
  expressions_.clear();
  memory_ = 0;
}
