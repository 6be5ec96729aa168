#ifndef ANALYSIS_LAST_VALUES_H
#define ANALYSIS_LAST_VALUES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "rules/rule_records.h"

// Parameters whose last value alone counts ("@L@"), put off: the lines that may have it are kept, up to a window of
// them, and searched from the last one on until one yields it.
class LastValues {
 public:
  struct Param {
    std::string key;
    std::string pattern;  // as it is applied
    std::string name;     // of the record
    size_t number = 0;    // the same for the same name
  };
  using Params = std::vector<Param>;

  // `capacity`: bytes of lines that are kept at a time.
  explicit LastValues(size_t capacity) : capacity_(capacity) {}

  // Has a parameter of `rule` put off. REQUIRES: so is each one that makes a record of that name.
  void putOff(const FeatureRule& rule, Param param) {
    param.number = numbers_.try_emplace(param.name, numbers_.size()).first->second;
    paramsOf_[&rule].push_back(std::move(param));
  }

  // Keeps a line for the parameters of `rule` that are put off, and returns them; null when there are none.
  const Params* keep(const FeatureRule& rule, std::string_view line, int32_t position) {
    const auto params = paramsOf_.find(&rule);
    if (params == paramsOf_.end()) return nullptr;
    lines_.push_back({&params->second, position, text_.size(), line.size()});
    text_ += line;
    return &params->second;
  }

  bool isFull() const { return text_.size() + lines_.size() * sizeof(Line) >= capacity_; }

  // Has `take(param, line, position)` tried on the lines that are kept until it is true for a name, and forgets them.
  // Returns how many lines were tried for nothing.
  template <typename Take>
  size_t settle(Take take) {
    size_t vain = 0;
    std::vector<bool> isFound(numbers_.size(), false);
    for (auto line = lines_.rbegin(); line != lines_.rend(); ++line) {
      const std::string_view text = std::string_view(text_).substr(line->begin, line->size);
      bool isTried = false;
      bool isTaken = false;
      for (const Param& param : *line->params) {
        if (isFound[param.number]) continue;
        isTried = true;
        isFound[param.number] = take(param, text, line->position);
        isTaken = isTaken || isFound[param.number];
      }
      if (isTried && !isTaken) ++vain;
    }
    lines_.clear();
    text_.clear();
    return vain;
  }

 private:
  struct Line {
    const Params* params;
    int32_t position;
    size_t begin;  // in `text_`
    size_t size;
  };

  const size_t capacity_;
  std::unordered_map<const FeatureRule*, Params> paramsOf_;
  std::unordered_map<std::string, size_t> numbers_;  // by the names of records
  std::vector<Line> lines_;
  std::string text_;  // of all of them
};

#endif  // ANALYSIS_LAST_VALUES_H
