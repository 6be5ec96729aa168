#include "rules/piled_frame.h"

#include <algorithm>

#include "util/byte_source.h"
#include "util/line_reader.h"

namespace {

size_t CountLines(const std::string& path) {
  const std::unique_ptr<ByteSource> log = OpenLog(path);
  if (log == nullptr) return 0;
  LineReader reader(*log);
  size_t lines = 0;
  for (size_t pos = 0; pos < reader.size(); pos = reader.lineAt(pos).next) ++lines;
  return lines;
}

}  // namespace

FeatureFrame PiledFrame::build(size_t most) const {
  FeatureFrame frame = *once;
  for (size_t i = 1; i < std::min(piles, most); ++i) {
    frame.rules.insert(frame.rules.end(), once->rules.begin(), once->rules.end());
  }
  return frame;
}

std::map<std::string, FeatureFrame> BuildFrames(const std::map<std::string, PiledFrame>& frames) {
  std::map<std::string, FeatureFrame> built;
  for (const auto& [id, piled] : frames) built.emplace(id, piled.build());
  return built;
}

FrameStore::FrameStore(const std::map<std::string, PiledFrame>& frames, const std::list<AssembleEntry>& entries,
                       bool whole)
    : piled_(frames), whole_(whole) {
  for (const AssembleEntry& entry : entries) ++runs_[entry.featureId];
  if (!whole) return;
  for (const AssembleEntry& entry : entries) begin(entry.featureId);
}

FrameStore::Frame& FrameStore::begin(const std::string& id) {
  const auto [entry, isNew] = built_.try_emplace(id);
  Frame& frame = entry->second;
  if (!isNew) return frame;
  frame.runsLeft = runs_[id];
  const auto piled = piled_.find(id);
  if (piled != piled_.end()) build(piled->second, frame);
  return frame;
}

// A copy comes into play only behind one that a match has changed, so the n-th match falls into one of the first n.
void FrameStore::build(const PiledFrame& piled, Frame& frame) {
  size_t most = piled.piles;
  if (!whole_ && most > 1) {
    const auto [lines, isNew] = lineCounts_.try_emplace(piled.once->logPath);
    if (isNew) lines->second = CountLines(lines->first);
    most = std::min(most, lines->second * frame.runsLeft + 1);
  }
  frame.frame = piled.build(most);
  frame.leftOut = (piled.piles - most) * piled.once->rules.size();
}

void FrameStore::end(const std::string& id) {
  if (--built_[id].runsLeft == 0 && !whole_) built_.erase(id);
}
