#include "cli/explain/story.h"

#include <algorithm>

namespace {

template <typename Enum, size_t kCount>
std::string_view NameIn(const std::array<std::string_view, kCount>& names, Enum value) {
  return names[static_cast<size_t>(value)];
}

}  // namespace

std::string_view Story::textOf(const RunStory& run, const LogLine& line) const {
  if (run.log >= logs.size()) return "";
  const std::string_view text = logs[run.log].text;
  return text.substr(std::min(line.offset, text.size()), line.length);
}

std::string WhyScanEnded(const RunStory& run) {
  const std::string last = "line " + std::to_string(run.lastLine.number);
  if (run.end == ScanEnd::kEndOfLog) return run.lastLine.number == 0 ? "the log is empty" : "the log ends with " + last;
  if (run.end == ScanEnd::kNoRuleLeft) return "the scan stopped at " + last + ": no rule was left";
  const size_t match = run.lastMatch.number;
  return "the scan stopped at " + last + " by the skip limit: " + std::to_string(run.skip) +
         " lines in a row without a match " +
         (match == 0 ? "from the beginning" : "since line " + std::to_string(match));
}

std::string WhyFate(const FrameStory& frame) {
  const std::string noise = "\"" + frame.ignoredName + "\" of level " + std::to_string(frame.ignoredLevel);
  switch (frame.fate) {
    case FrameFate::kKept:
      return "kept";
    case FrameFate::kIgnored:
      return "ignored for " + noise;
    case FrameFate::kIgnoredButKept:
      return "kept although it holds " + noise + ", as all frames of its block are noise";
    case FrameFate::kBeforePanic:
      return "dropped for " + noise + ": all frames of its block are noise, and it is made to begin further down";
    case FrameFate::kCut:
    case FrameFate::kCutHeading:
      return "cut by the limit of 30 lines";
    case FrameFate::kHeading:
      return "its plain name heads its block";
    case FrameFate::kNoFrames:
      return "dropped, no frame follows it";
    default:
      return "its name is empty and leaves no line";
  }
}

std::string_view NameOf(VerdictKind kind) {
  static constexpr std::array<std::string_view, kVerdictKinds> kNames = {
      "selects", "dependency-not-met", "variable-open", "keywords-not-found", "taken",
      "spent",   "passed-over",        "not-reached"};
  return NameIn(kNames, kind);
}

std::string_view NameOf(FrameForm form) {
  static constexpr std::array<std::string_view, 6> kNames = {"java", "native", "kernel", "hyphen", "cause", "other"};
  return NameIn(kNames, form);
}

std::string_view NameOf(FrameFate fate) {
  static constexpr std::array<std::string_view, 9> kNames = {
      "kept", "ignored", "ignored-but-kept", "before-panic", "cut", "heading", "cut-heading", "no-frames", "empty"};
  return NameIn(kNames, fate);
}

std::string_view NameOf(ScanEnd end) {
  static constexpr std::array<std::string_view, 3> kNames = {"end-of-log", "skip-limit", "no-rule-left"};
  return NameIn(kNames, end);
}

std::string_view NameOf(LineFate fate) {
  static constexpr std::array<std::string_view, 4> kNames = {"examined", "overlong", "indented", "spanned"};
  return NameIn(kNames, fate);
}
