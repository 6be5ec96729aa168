#ifndef ANALYSIS_SEARCH_CACHE_H
#define ANALYSIS_SEARCH_CACHE_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "analysis/pattern_search.h"
#include "regex/expression.h"
#include "rules/rule_records.h"

// What is made from the texts of rules, by those texts: it has no part in any log and may serve one after the other.
// Not for several threads at once.
class SearchCache {
 public:
  // What pays off only when other logs follow is made at once from now on.
  void serveManyLogs() { servesManyLogs_ = true; }
  bool servesManyLogs() const { return servesManyLogs_; }

  ExpressionCache& expressions() { return expressions_; }

  // The search for these rules; null stands for one that is spent.
  std::shared_ptr<PatternSearch> searchFor(const std::vector<const FeatureRule*>& rules, PatternSearch::Finds finds);

  // Bytes held, about.
  size_t memory() const;

  // Drops everything that is not in use if more than `limit` bytes are held.
  void keepWithin(size_t limit);

 private:
  bool servesManyLogs_ = false;
  ExpressionCache expressions_;
  std::map<std::string, std::shared_ptr<PatternSearch>> searches_;  // by all texts that they are made from
};

#endif  // ANALYSIS_SEARCH_CACHE_H
