#include "analysis/search_cache.h"

#include <string_view>

namespace {

void AppendText(std::string_view text, std::string& key) {
  key.append(std::to_string(text.size())).append(":").append(text);
}

// What a search is made from.
std::string KeyOf(const std::vector<FeatureRule>& rules) {
  std::string key;
  for (const FeatureRule& rule : rules) {
    AppendText(rule.keyWords, key);
    AppendText(rule.command, key);
    key += rule.num >= 2 ? '+' : '1';
    for (const auto& [name, pattern] : rule.params) AppendText(pattern, key);
    key += '\n';
  }
  return key;
}

}  // namespace

std::shared_ptr<PatternSearch> SearchCache::searchFor(const std::vector<FeatureRule>& rules) {
  std::shared_ptr<PatternSearch>& search = searches_[KeyOf(rules)];
  if (search == nullptr) search = std::make_shared<PatternSearch>(rules);
  return search;
}

size_t SearchCache::memory() const {
  size_t bytes = expressions_.memory();
  for (const auto& [key, search] : searches_) bytes += key.size() + search->memory();
  return bytes;
}

void SearchCache::keepWithin(size_t limit) {
  if (memory() <= limit) return;
  searches_.clear();
  expressions_.clear();
}
