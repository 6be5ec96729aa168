#include "cli/fleet/grouping.h"

#include <algorithm>
#include <utility>

#include "cli/library/no_fingerprint.h"
#include "cli/log_lines/volatile_tokens.h"
#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"

namespace {

constexpr size_t kMaxNames = 5'000;

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

// The line of a stack as a frame that counts; empty when it is none.
const std::string& Grouping::countedName(std::string_view line) {
  if (names_.size() > kMaxNames) names_.clear();
  const auto [place, isNew] = names_.try_emplace(std::string(line));
  if (isNew && !StackUtil::HasExceptionList(place->first) && !skips_.skips(line)) {
    place->second = MaskedLine(std::string(line));
  }
  return place->second;
}

std::vector<std::string> Grouping::framesOf(std::string_view stack, size_t most) {
  std::vector<std::string> frames;
  while (!stack.empty() && frames.size() < most) {
    const std::string& name = countedName(TakeLine(stack));
    if (!name.empty()) frames.push_back(name);
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
  const std::vector<std::string> frames =
      stack ? framesOf(*stack, top_ > 0 ? top_ : SIZE_MAX) : std::vector<std::string>();
  if (frames.empty()) return std::nullopt;
  for (const std::string& frame : frames) all += (all.empty() ? "" : "\n") + frame;
  return all;
}

bool Grouping::isByFingerprint() const { return !isByFrames_ && keys_ == std::vector<std::string>{kFingerprintKey}; }

bool Grouping::hasKey(std::string_view key) const { return std::find(keys_.begin(), keys_.end(), key) != keys_.end(); }

std::string Grouping::name() const {
  std::string text;
  for (const std::string& key : keys_) text += (text.empty() ? "" : ", ") + key;
  if (!isByFrames_) return text;
  return text + (text.empty() ? "" : " and ") + (top_ == 0 ? "the frames" : "the first " + Counted(top_, "frame"));
}
