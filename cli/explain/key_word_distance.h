#ifndef CLI_EXPLAIN_KEY_WORD_DISTANCE_H
#define CLI_EXPLAIN_KEY_WORD_DISTANCE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "regex/expression.h"

// Measures how near a line comes to being selected by keywords that do not select it: how much of the keywords, from
// their beginning on, the line holds.
class KeyWordDistance {
 public:
  struct Score {
    size_t terms = 0;  // that are found, in order, when all have to be
    size_t bytes = 0;  // of the prefix of the next one, or of any one, that are found

    bool operator<(const Score& other) const { return std::tie(terms, bytes) < std::tie(other.terms, other.bytes); }
  };

  explicit KeyWordDistance(const std::string& keyWords);

  const std::string& keyWords() const { return keyWords_; }

  // False for an expression that may be invalid: applying it could end the process.
  bool isSafe() const { return isSafe_; }

  // What the line holds of the keywords; nothing when that is less than `floor`.
  std::optional<Score> scoreOf(const std::string& line, Score floor);

  // Why the keywords do not select the line, in words.
  std::string why(const std::string& line);

 private:
  struct Found {
    Score score;
    size_t end = 0;  // of the terms that were found, in the line
  };

  Found find(const std::string& line, Score floor);
  bool holdsPrefix(const std::string& line, size_t term, size_t bytes, size_t from);
  size_t longerPrefix(size_t term, size_t bytes) const;

  std::string keyWords_;
  bool isRegex_;
  bool isAnd_;
  bool isSafe_ = true;
  std::vector<std::string> terms_;             // of a regular expression, its alternatives
  std::vector<std::vector<size_t>> prefixes_;  // of those, the lengths of the prefixes that are expressions themselves
  ExpressionCache expressions_;
};

#endif  // CLI_EXPLAIN_KEY_WORD_DISTANCE_H
