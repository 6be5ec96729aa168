#include "analysis/record_list.h"

#include <utility>

void RecordList::append(const std::string& name, LineInfo info) {
  const auto [entry, isNew] = slotsOf_.try_emplace(name);
  Known& known = entry->second;
  if (isNew && most_) known.most = most_(name);
  if (known.slots.size() >= known.most) {
    known.isCut = true;
    hasLeftOut_ = true;
    return;
  }
  known.slots.push_back(slots_.size());
  slots_.emplace_back(name, std::move(info));
  erased_.push_back(false);
}

void RecordList::eraseFirst(const std::string& name) {
  const auto known = slotsOf_.find(name);
  if (known == slotsOf_.end()) return;
  std::deque<size_t>& slots = known->second.slots;
  if (known->second.isCut && known->second.most > 0) hasMissed_ = true;
  if (slots.empty()) return;
  erased_[slots.front()] = true;
  slots.pop_front();
  ++erasedCount_;
  if (erasedCount_ * 2 > slots_.size()) compact();
}

bool RecordList::knowsNameWith(std::string_view part) const {
  return std::any_of(slotsOf_.begin(), slotsOf_.end(),
                     [part](const auto& entry) { return entry.first.find(part) != std::string::npos; });
}

size_t RecordList::count(const std::string& name) const {
  const auto known = slotsOf_.find(name);
  return known == slotsOf_.end() ? 0 : known->second.slots.size();
}

const Record* RecordList::first(const std::string& name) const {
  const auto known = slotsOf_.find(name);
  return known == slotsOf_.end() || known->second.slots.empty() ? nullptr : &slots_[known->second.slots.front()];
}

const std::vector<Record>& RecordList::all() const {
  if (erasedCount_ > 0) compact();
  return slots_;
}

void RecordList::compact() const {
  for (auto& entry : slotsOf_) entry.second.slots.clear();
  size_t kept = 0;
  for (size_t i = 0; i < slots_.size(); ++i) {
    if (erased_[i]) continue;
    if (kept != i) slots_[kept] = std::move(slots_[i]);
    slotsOf_[slots_[kept].first].slots.push_back(kept);
    ++kept;
  }
  slots_.resize(kept);
  erased_.assign(kept, false);
  erasedCount_ = 0;
}
