#include "cli/fleet/external_sort.h"

#include <algorithm>
#include <cerrno>
#include <queue>
#include <system_error>

#include "cli/fleet/fields.h"

namespace {

constexpr size_t kMaxHeldBytes = 8 * 1024 * 1024;
constexpr size_t kBlock = 32 * 1024;  // bytes that are read of a run, or written, at once

// Goes over the texts of a run.
class RunReader {
 public:
  RunReader(const SpillFile& spill, SpillFile::Place run) : spill_(&spill), rest_(run) {}

  bool next() {
    while (MessageSize(std::string_view(buffer_).substr(begin_)) == 0) {
      if (rest_.size == 0) return false;
      const size_t size = std::min(rest_.size, kBlock);
      buffer_ = buffer_.substr(begin_) + spill_->read({rest_.offset, size});
      begin_ = 0;
      rest_ = {rest_.offset + size, rest_.size - size};
    }
    const size_t size = MessageSize(std::string_view(buffer_).substr(begin_));
    DecodeViews(std::string_view(buffer_).substr(begin_, size), fields_);
    begin_ += size;
    return true;
  }

  // Good until the next one.
  std::string_view key() const { return fields_[0]; }
  std::string_view text() const { return fields_[1]; }

 private:
  const SpillFile* spill_;
  SpillFile::Place rest_;
  std::string buffer_;
  size_t begin_ = 0;
  FieldViews fields_;
};

}  // namespace

void ExternalSort::add(std::string key, std::string text) {
  heldBytes_ += key.size() + text.size() + sizeof(held_[0]);
  held_.emplace_back(std::move(key), std::move(text));
  if (heldBytes_ > kMaxHeldBytes) writeRun();
}

void ExternalSort::sortHeld() {
  std::sort(held_.begin(), held_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

void ExternalSort::writeRun() {
  sortHeld();
  SpillFile::Place run = {spill_.size(), 0};
  std::string block;
  for (size_t i = 0; i < held_.size(); ++i) {
    AppendEncoded({held_[i].first, held_[i].second}, block);
    if (block.size() < kBlock && i + 1 < held_.size()) continue;
    SpillFile::Place place;
    if (!spill_.append(block, place)) {
      throw std::system_error(errno, std::generic_category(), "no room in the folder for temporary files");
    }
    run.size += block.size();
    block.clear();
  }
  runs_.push_back(run);
  held_.clear();
  heldBytes_ = 0;
}

void ExternalSort::forEach(const std::function<void(std::string_view key, std::string_view text)>& visit) {
  if (!runs_.empty()) return mergeRuns(visit);
  sortHeld();
  for (const auto& [key, text] : held_) visit(key, text);
}

void ExternalSort::mergeRuns(const std::function<void(std::string_view key, std::string_view text)>& visit) {
  if (!held_.empty()) writeRun();
  held_.shrink_to_fit();
  std::vector<RunReader> readers;
  for (const SpillFile::Place& run : runs_) readers.emplace_back(spill_, run);
  const auto isLater = [&readers](size_t a, size_t b) { return readers[a].key() > readers[b].key(); };
  std::priority_queue<size_t, std::vector<size_t>, decltype(isLater)> first(isLater);
  for (size_t i = 0; i < readers.size(); ++i) {
    if (readers[i].next()) first.push(i);
  }
  while (!first.empty()) {
    const size_t i = first.top();
    first.pop();
    visit(readers[i].key(), readers[i].text());
    if (readers[i].next()) first.push(i);
  }
}
