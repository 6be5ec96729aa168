#include "regex/expression.h"

#include "regex/selectivity.h"

namespace {

constexpr size_t kMaxTableSize = 128 * 1024;        // bytes per expression
constexpr size_t kTreeBytesPerByte = 128;           // of memory for a byte of expression, about
constexpr size_t kMaxReadAhead = 1024 * 1024;       // bytes of a cache up to which expressions are read before a search
constexpr size_t kMaxCacheSize = 32 * 1024 * 1024;  // bytes of all expressions of a cache
constexpr int kMissesForFilter = 16;                // searches in vain after which an automaton is made

}  // namespace

std::optional<std::string> Expression::longestText() const {
  if (!reading_) return Expression(text_).longestText();
  return reading_->tree ? std::optional(LongestText(reading_->tree->root)) : std::nullopt;
}

bool Expression::search(std::string_view line, Regex::Match& match) {
  if (!regex_) {
    regex_.emplace(text_, *reading_);
    reading_.reset();
  }
  // The automaton takes a line feed for the end of a line.
  if (filter_ != nullptr && line.find('\n') == std::string_view::npos && !filter_->mayMatch(line)) return false;
  if (regex_->search(line, match)) return true;
  if (!regex_->jumps() && misses_ < kMissesForFilter && ++misses_ == kMissesForFilter) {
    const std::optional<RegexTree> tree = ReadRegex(text_).tree;
    if (tree) filter_ = std::make_unique<LineAutomaton>(std::vector<RegexNode>{tree->root}, kMaxTableSize);
  }
  return false;
}

size_t Expression::memory() const {
  return sizeof(*this) + text_.size() * (regex_ ? 1 : kTreeBytesPerByte) + (regex_ ? regex_->memory() : 0) +
         (filter_ == nullptr ? 0 : filter_->memory());
}

Expression& ExpressionCache::at(std::string_view text) {
  const auto known = expressions_.lower_bound(text);
  if (known != expressions_.end() && known->first == text) return known->second;
  Expression& expression = expressions_.try_emplace(known, std::string(text), text)->second;
  memory_ += text.size() + expression.memory();
  return expression;
}

std::optional<std::string> ExpressionCache::longestText(std::string_view text) {
  return memory_ < kMaxReadAhead ? at(text).longestText() : Expression(text).longestText();
}

bool ExpressionCache::search(std::string_view text, std::string_view line, Regex::Match& match) {
  if (memory_ > kMaxCacheSize) clear();
  Expression& expression = at(text);
  const size_t before = expression.memory();
  const bool found = expression.search(line, match);
  memory_ = memory_ - before + expression.memory();
  return found;
}

void ExpressionCache::clear() {
  expressions_.clear();
  memory_ = 0;
}
