#ifndef RULES_PILED_FRAME_H
#define RULES_PILED_FRAME_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "rules/rule_records.h"

// The frame of a feature id, not built yet. The ids of one entry share its rules: `piles` copies of them, one behind
// the other, make the frame's. So many ids cost no more than their number.
struct PiledFrame {
  std::shared_ptr<const FeatureFrame> once;
  size_t piles = 1;

  // The frame with at most `most` copies.
  FeatureFrame build(size_t most = SIZE_MAX) const;
};

// All of them whole.
std::map<std::string, FeatureFrame> BuildFrames(const std::map<std::string, PiledFrame>& frames);

// The frames of a call, each of them built for its first run and kept until its last one.
class FrameStore {
 public:
  struct Frame {
    FeatureFrame frame;
    size_t leftOut = 0;   // rules that cannot come into play on a log of so few lines
    size_t runsLeft = 0;  // the present one included
  };

  // `entries`: the runs that will be made. With `whole` no rule is left out, and all frames are built at once: no two
  // rules of the call ever have one address, by which an observer may know them.
  FrameStore(const std::map<std::string, PiledFrame>& frames, const std::list<AssembleEntry>& entries, bool whole);

  // The frame for a run of `id`: an empty one when the id has none; what the last run has left when there was one.
  Frame& begin(const std::string& id);

  // The run is over. A whole frame stays.
  void end(const std::string& id);

 private:
  void build(const PiledFrame& piled, Frame& frame);

  const std::map<std::string, PiledFrame>& piled_;
  std::map<std::string, size_t> runs_;
  std::map<std::string, Frame> built_;
  std::map<std::string, size_t> lineCounts_;  // by the paths of logs
  const bool whole_;
};

#endif  // RULES_PILED_FRAME_H
