#include "regex/line_pattern.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using Kind = LinePattern::Kind;

constexpr size_t kWideSet = 96;   // bytes of the lower half in a set that counts as "nearly all"
constexpr int kShortRun = 4;      // repetitions of such a set that are still remembered
constexpr double kNothing = 1e9;  // selectivity of a choice without branches, which takes no line

size_t LowerHalfCount(const ByteSet& bytes) {
  size_t count = 0;
  for (size_t b = 0; b < 128; ++b) count += bytes[b] ? 1 : 0;
  return count;
}

bool HasWideLoop(const LinePattern& pattern) {
  const bool isLoop = pattern.kind == Kind::kRepeat && pattern.parts[0].kind == Kind::kByte &&
                      (pattern.max == LinePattern::kUnbounded || pattern.max >= kShortRun) &&
                      LowerHalfCount(pattern.parts[0].bytes) >= kWideSet;
  return isLoop || std::any_of(pattern.parts.begin(), pattern.parts.end(), HasWideLoop);
}

// The most selective of the runs without a wide loop and of the stretches inside the parts that have one.
LinePattern BestOfSequence(const std::vector<LinePattern>& parts) {
  std::vector<LinePattern> stretches(1);
  for (const LinePattern& part : parts) {
    if (HasWideLoop(part)) {
      stretches.push_back(MostSelectiveStretch(part));
      stretches.emplace_back();
    } else {
      stretches.back().parts.push_back(part);
    }
  }
  return *std::max_element(stretches.begin(), stretches.end(),
                           [](const LinePattern& a, const LinePattern& b) { return Selectivity(a) < Selectivity(b); });
}

}  // namespace

LinePattern LiteralPattern(std::string_view text) {
  LinePattern sequence;
  for (const char c : text) {
    LinePattern byte{.kind = Kind::kByte};
    byte.bytes.set(static_cast<unsigned char>(c));
    sequence.parts.push_back(byte);
  }
  return sequence;
}

LinePattern AnyText() {
  LinePattern byte{.kind = Kind::kByte};
  byte.bytes.set();
  return {.kind = Kind::kRepeat, .parts = {byte}, .min = 0, .max = LinePattern::kUnbounded};
}

LinePattern ChoiceOf(std::vector<LinePattern> parts) {
  if (parts.size() == 1) return std::move(parts[0]);
  return {.kind = Kind::kChoice, .parts = std::move(parts)};
}

std::optional<std::string> AsLiteral(const LinePattern& pattern) {
  std::string text;
  if (pattern.kind == Kind::kByte && pattern.bytes.count() == 1 && !pattern.bytes['\n']) {
    size_t b = 0;
    while (!pattern.bytes[b]) ++b;
    text += static_cast<char>(b);
  } else if (pattern.kind == Kind::kSequence) {
    for (const LinePattern& part : pattern.parts) {
      const std::optional<std::string> piece = AsLiteral(part);
      if (!piece) return std::nullopt;
      text += *piece;
    }
  } else {
    return std::nullopt;
  }
  return text;
}

double Selectivity(const LinePattern& pattern) {
  double bits = 0;
  switch (pattern.kind) {
    case Kind::kByte:
      bits = 7 - std::log2(static_cast<double>(std::max<size_t>(1, LowerHalfCount(pattern.bytes))));
      break;
    case Kind::kSequence:
      for (const LinePattern& part : pattern.parts) bits += Selectivity(part);
      break;
    case Kind::kChoice:
      bits = kNothing;
      for (const LinePattern& part : pattern.parts) bits = std::min(bits, Selectivity(part));
      break;
    case Kind::kRepeat:
      bits = pattern.min * Selectivity(pattern.parts[0]);
      break;
    case Kind::kLineStart:
    case Kind::kLineEnd:
      break;
  }
  return bits;
}

LinePattern MostSelectiveStretch(const LinePattern& pattern) {
  if (!HasWideLoop(pattern)) return pattern;
  switch (pattern.kind) {
    case Kind::kSequence:
      return BestOfSequence(pattern.parts);
    case Kind::kChoice: {
      std::vector<LinePattern> branches;
      for (const LinePattern& part : pattern.parts) branches.push_back(MostSelectiveStretch(part));
      return ChoiceOf(std::move(branches));
    }
    default:
      return pattern.min > 0 ? MostSelectiveStretch(pattern.parts[0]) : LinePattern{};
  }
}
