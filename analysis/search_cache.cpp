#include "analysis/search_cache.h"

#include <string_view>
#include <utility>

namespace {

void AppendText(std::string_view text, std::string& key) {
  key.append(std::to_string(text.size())).append(":").append(text);
}

// What a search is made from.
std::string KeyOf(const std::vector<const FeatureRule*>& rules, PatternSearch::Finds finds) {
  std::string key = finds == PatternSearch::Finds::kMatches ? "all" : "";
  for (const FeatureRule* rule : rules) {
    key += '\n';
    if (rule == nullptr) continue;
    AppendText(rule->keyWords, key);
    AppendText(rule->command, key);
    key += rule->num >= 2 ? '+' : '1';
    for (const auto& [name, pattern] : rule->params) AppendText(pattern, key);
  }
  return key;
}

}  // namespace

std::shared_ptr<PatternSearch> SearchCache::searchFor(const std::vector<const FeatureRule*>& rules,
                                                      PatternSearch::Finds finds) {
  std::shared_ptr<PatternSearch>& search = searches_[KeyOf(rules, finds)];
  if (search == nullptr) {
    std::vector<FeatureRule> copies;
    for (const FeatureRule* rule : rules) copies.push_back(rule == nullptr ? FeatureRule{} : *rule);
    search = std::make_shared<PatternSearch>(std::move(copies), finds, expressions_);
  }
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
