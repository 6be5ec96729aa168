#ifndef ANALYSIS_RECORD_LIST_H
#define ANALYSIS_RECORD_LIST_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "analysis/line_info.h"

// The records of a run in the order in which they were made, with an index by name: no operation but all() depends on
// how many there are. There are few names, as they come from the rules, but perhaps a record for each line of a log:
// keepAtMost() has all but the first ones of a name left out.
class RecordList {
 public:
  // From now on asks `most`, when a record brings a new name, how many of that name are kept.
  void keepAtMost(std::function<size_t(const std::string& name)> most) { most_ = std::move(most); }

  // True when a record was asked for that has been left out: what was answered then is wrong.
  bool hasMissed() const { return hasMissed_; }

  void append(const std::string& name, LineInfo info);

  // Removes the first record of that name, if there is one. The name stays known.
  void eraseFirst(const std::string& name);

  bool empty() const { return slots_.size() == erasedCount_ && !hasLeftOut_; }

  // The number of different names that records have or had.
  size_t nameCount() const { return slotsOf_.size(); }

  // True when any known name holds `part`.
  bool knowsNameWith(std::string_view part) const;

  // How many records of that name are kept.
  size_t count(const std::string& name) const;

  // The first record of that name, or null.
  const Record* first(const std::string& name) const;

  // The first record, from slot `slot` on, whose name `holds`; null when there is none. Moves `slot` behind it.
  template <typename Predicate>
  const Record* nextOf(size_t& slot, Predicate holds) const {
    size_t best = slots_.size();
    for (const auto& [name, known] : slotsOf_) {
      const auto next = std::lower_bound(known.slots.begin(), known.slots.end(), slot);
      if (next != known.slots.end()) {
        if (*next < best && holds(name)) best = *next;
      } else if (known.isCut && holds(name)) {
        hasMissed_ = true;
      }
    }
    if (best == slots_.size()) return nullptr;
    slot = best + 1;
    return &slots_[best];
  }

  // All records that are kept. The reference stays good until the next change.
  const std::vector<Record>& all() const;

 private:
  struct Known {
    std::deque<size_t> slots;  // ascending
    size_t most = SIZE_MAX;
    bool isCut = false;  // some records of the name were left out
  };

  void compact() const;

  std::function<size_t(const std::string& name)> most_;
  bool hasLeftOut_ = false;
  mutable bool hasMissed_ = false;
  // A removed record leaves its slot behind until the list is asked for or half of it is empty.
  mutable std::vector<Record> slots_;
  mutable std::vector<bool> erased_;
  mutable size_t erasedCount_ = 0;
  mutable std::map<std::string, Known, std::less<>> slotsOf_;
};

#endif  // ANALYSIS_RECORD_LIST_H
