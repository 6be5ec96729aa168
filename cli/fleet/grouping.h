#ifndef CLI_FLEET_GROUPING_H
#define CLI_FLEET_GROUPING_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "cli/fleet/frame_skips.h"

// What logs of one group have in common: the values of some results, the frames of the stack that count, or both.
class Grouping {
 public:
  // By FINGERPRINT alone.
  Grouping();

  // With `top` or `skips` the frames that are left of the stack count, at most `top` unless that is 0. Without `keys`
  // either these alone do, or else FINGERPRINT does.
  Grouping(std::vector<std::string> keys, size_t top, FrameSkips skips);

  // The value, or where there are several, or frames: each on a line. None where one is missing, or no frame is left.
  using ResultOf = std::function<std::optional<std::string>(std::string_view key)>;
  std::optional<std::string> valueOf(const ResultOf& resultOf);

  // The frames of a filtered stack that count, at most `most` of them, with "*" for what differs from one occurrence,
  // or build, to another.
  std::vector<std::string> framesOf(std::string_view stack, size_t most = SIZE_MAX);

  bool isByFingerprint() const;
  bool isByFrames() const { return isByFrames_; }
  size_t nameLines() const { return keys_.size(); }  // of a value, in front of the frames
  size_t top() const { return top_; }

  bool hasKey(std::string_view key) const;

  // "FINGERPRINT", "PROCESS and the first 2 frames".
  std::string name() const;

 private:
  const std::string& countedName(std::string_view line);

  std::vector<std::string> keys_;
  size_t top_ = 0;
  bool isByFrames_ = false;
  FrameSkips skips_;
  std::unordered_map<std::string, std::string> names_;  // of lines, empty where one does not count: they come again
};

#endif  // CLI_FLEET_GROUPING_H
