#include "cli/fleet/grouping.h"

#include <algorithm>
#include <utility>

#include "cli/library/no_fingerprint.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"

namespace {

std::string OnOneLine(const std::string& value) {
  std::string line;
  for (const std::string& part : LinesOf(value)) line += (line.empty() ? "" : " ") + part;
  return line;
}

}  // namespace

Grouping::Grouping() : Grouping({}, 0, {}) {}

Grouping::Grouping(std::vector<std::string> keys, size_t top, FrameSkips skips)
    : keys_(std::move(keys)), top_(top), isByFrames_(top > 0 || !skips.empty()), skips_(std::move(skips)) {
  if (keys_.empty() && !isByFrames_) keys_ = {kFingerprintKey};
}

std::vector<std::string> Grouping::framesOf(std::string_view stack) {
  std::vector<std::string> frames;
  for (std::string& line : LinesOf(stack)) {
    if (top_ > 0 && frames.size() == top_) break;
    if (!StackUtil::HasExceptionList(line) && !skips_.skips(line)) frames.push_back(std::move(line));
  }
  return frames;
}

std::optional<std::string> Grouping::valueOf(const ResultOf& resultOf) {
  std::string all;
  for (const std::string& key : keys_) {
    const std::optional<std::string> value = resultOf(key);
    if (!value || (key == kFingerprintKey && *value == kNoFingerprint)) return std::nullopt;
    all += (all.empty() ? "" : "\n") + (keys_.size() > 1 || isByFrames_ ? OnOneLine(*value) : *value);
  }
  if (!isByFrames_) return all;
  const std::optional<std::string> stack = resultOf(kStackKey);
  const std::vector<std::string> frames = stack ? framesOf(*stack) : std::vector<std::string>();
  if (frames.empty()) return std::nullopt;
  for (const std::string& frame : frames) all += (all.empty() ? "" : "\n") + frame;
  return all;
}

bool Grouping::isByFingerprint() const { return !isByFrames_ && keys_ == std::vector<std::string>{kFingerprintKey}; }

std::string Grouping::name() const {
  std::string text;
  for (const std::string& key : keys_) text += (text.empty() ? "" : ", ") + key;
  if (!isByFrames_) return text;
  return text + (text.empty() ? "" : " and ") + (top_ == 0 ? "the frames" : "the first " + Counted(top_, "frame"));
}
