#include "cli/explain/story.h"

#include <algorithm>

#include "util/limits.h"

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
  if (frame.isCut) return "cut by the limit of " + std::to_string(kMaxStackLines) + " lines";
  if (frame.isNamed() && frame.name.empty()) return "its name is empty and leaves no line";
  switch (frame.fate) {
    case FrameFate::kKept:
      return "kept";
    case FrameFate::kIgnored:
      return "ignored for " + noise;
    case FrameFate::kIgnoredButKept:
      return "kept although it holds " + noise + ", as all frames of its block are noise";
    case FrameFate::kBeforePanic:
      return "dropped for " + noise + ": all frames of its block are noise, and it is made to begin further down";
    case FrameFate::kHeading:
      return "its plain name heads its block";
    default:
      return "dropped, no frame follows it";
  }
}

std::string_view NameOf(VerdictKind kind) {
  static constexpr std::array<std::string_view, kVerdictKinds> kNames = {
      "selects",     "dependency-not-met", "variable-open", "keywords-not-found", "taken", "spent",
      "passed-over", "not-reached",        "spans"};
  return NameIn(kNames, kind);
}

std::string_view NameOf(FrameForm form) {
  static constexpr std::array<std::string_view, 6> kNames = {"java", "native", "kernel", "hyphen", "cause", "other"};
  return NameIn(kNames, form);
}

std::string_view FateOf(const FrameStory& frame) {
  static constexpr std::array<std::string_view, 6> kNames = {"kept",         "ignored", "ignored-but-kept",
                                                             "before-panic", "heading", "no-frames"};
  if (frame.isCut) return frame.fate == FrameFate::kHeading ? "cut-heading" : "cut";
  return frame.isNamed() && frame.name.empty() ? "empty" : NameIn(kNames, frame.fate);
}

std::string_view NameOf(ScanEnd end) {
  static constexpr std::array<std::string_view, 3> kNames = {"end-of-log", "skip-limit", "no-rule-left"};
  return NameIn(kNames, end);
}

std::string_view NameOf(LineFate fate) {
  static constexpr std::array<std::string_view, 4> kNames = {"examined", "overlong", "indented", "spanned"};
  return NameIn(kNames, fate);
}
