#include "entry/shared_log.h"

#include "util/line_reader.h"

namespace {

constexpr size_t kMinFeatures = 3;
constexpr size_t kMinSize = 256 * 1024;  // bytes of a log; a smaller one is read sooner than searches are made for all
constexpr size_t kMaxRules = 256;        // of the features that are searched for at a time

}  // namespace

SharedLog::SharedLog(const std::map<std::string, PiledFrame>& frames, const std::list<AssembleEntry>& entries)
    : piled_(frames) {
  for (const AssembleEntry& entry : entries) {
    const auto piled = frames.find(entry.featureId);
    if (piled == frames.end()) continue;
    const FeatureFrame* const frame = piled->second.once.get();
    if (!frames_.empty() && frame->logPath != frames_.front()->logPath) continue;
    if (numbers_.try_emplace(frame, frames_.size()).second) frames_.push_back(frame);
  }
  if (!frames_.empty()) log_ = OpenLog(frames_.front()->logPath);
  searchesForAll_ = frames_.size() >= kMinFeatures && log_ != nullptr && log_->size() >= kMinSize;
}

void SharedLog::join(const std::string& featureId, Analysis& run) {
  const auto piled = piled_.find(featureId);
  if (log_ == nullptr || piled == piled_.end()) return;
  const auto known = numbers_.find(piled->second.once.get());
  if (known == numbers_.end()) return;
  // Each feature reads the log as it is when its turn comes.
  if (!log_->isStill(known->first->logPath)) return;
  run.readFrom(*log_);
  if (!searchesForAll_) return;
  const size_t number = known->second;
  // The features come in the order of their numbers but for the later runs of one.
  if (number >= end_) search(number);
  if (number >= first_ && lines_->canFind(number - first_)) run.share(*lines_, number - first_);
}

void SharedLog::search(size_t first) {
  first_ = first;
  size_t rules = 0;
  for (end_ = first; end_ < frames_.size() && (end_ == first || rules < kMaxRules); ++end_) {
    rules += frames_[end_]->rules.size();
  }
  lines_ = std::make_unique<FeatureLines>(
      *log_, LineReader::kWindow,
      std::vector<const FeatureFrame*>(frames_.begin() + static_cast<std::ptrdiff_t>(first_),
                                       frames_.begin() + static_cast<std::ptrdiff_t>(end_)));
}
