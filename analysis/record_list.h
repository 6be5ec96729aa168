#ifndef ANALYSIS_RECORD_LIST_H
#define ANALYSIS_RECORD_LIST_H

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/line_info.h"

// The records of a run in the order in which they were made, with an index by name: no operation but all() depends on
// how many there are. There are few names, as they come from the rules, but perhaps a record for each line of a log.
class RecordList {
 public:
  void append(const std::string& name, const LineInfo& info);

  // Removes the first record of that name, if there is one. The name stays known.
  void eraseFirst(const std::string& name);

  bool empty() const { return slots_.size() == erasedCount_; }

  // The number of different names that records have or had.
  size_t nameCount() const { return slotsOf_.size(); }

  // True when any known name holds `part`.
  bool knowsNameWith(std::string_view part) const;

  // The first record of that name, or null.
  const Record* first(const std::string& name) const;

  // The first record, from slot `slot` on, whose name `holds`; null when there is none. Moves `slot` behind it.
  template <typename Predicate>
  const Record* nextOf(size_t& slot, Predicate holds) const {
    size_t best = slots_.size();
    for (const auto& [name, slots] : slotsOf_) {
      const auto next = std::lower_bound(slots.begin(), slots.end(), slot);
      if (next != slots.end() && *next < best && holds(name)) best = *next;
    }
    if (best == slots_.size()) return nullptr;
    slot = best + 1;
    return &slots_[best];
  }

  // All records. The reference stays good until the next change.
  const std::vector<Record>& all() const;

 private:
  void compact() const;

  // A removed record leaves its slot behind until the list is asked for or half of it is empty.
  mutable std::vector<Record> slots_;
  mutable std::vector<bool> erased_;
  mutable size_t erasedCount_ = 0;
  mutable std::map<std::string, std::deque<size_t>, std::less<>> slotsOf_;  // name -> its slots, ascending
};

#endif  // ANALYSIS_RECORD_LIST_H
