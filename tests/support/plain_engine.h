#ifndef TESTS_SUPPORT_PLAIN_ENGINE_H
#define TESTS_SUPPORT_PLAIN_ENGINE_H

#include <sstream>
#include <vector>

#include "analysis/line_info.h"
#include "rules/rule_records.h"

// The scan in its plainest form: every rule on every line, records searched from the front. The
// fast scan of the library is held against it.
class PlainEngine {
 public:
  explicit PlainEngine(FeatureFrame& frame) : frame_(frame) {}

  void scan(std::stringstream& content);

  const std::vector<Record>& records() const { return records_; }
  LineInfo current() const { return {curPosition_, curLine_}; }  // the last line examined

 private:
  bool selects(FeatureRule& rule) const;
  bool takeParams(FeatureRule& rule);

  FeatureFrame& frame_;
  std::vector<Record> records_;
  std::string curLine_;
  int32_t curPosition_ = 0;
};

#endif  // TESTS_SUPPORT_PLAIN_ENGINE_H
