#include "regex/selectivity.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using Kind = RegexNode::Kind;

constexpr size_t kWideSet = 96;   // bytes of the lower half in a set that counts as "nearly all"
constexpr int kShortRun = 4;      // repetitions of such a set that are still remembered
constexpr double kNothing = 1e9;  // selectivity of a choice without branches, which takes no line

size_t LowerHalfCount(const ByteSet& bytes) {
  size_t count = 0;
  for (size_t b = 0; b < 128; ++b) count += bytes[b] ? 1 : 0;
  return count;
}

// A back-reference counts as a loop over all bytes; what a look-ahead holds takes no byte.
bool HasWideLoop(const RegexNode& node) {
  if (node.kind == Kind::kAhead || node.kind == Kind::kNotAhead) return false;
  const bool isLoop = node.kind == Kind::kRepeat && node.parts[0].kind == Kind::kByte &&
                      (node.max == RegexNode::kUnbounded || node.max >= kShortRun) &&
                      LowerHalfCount(node.parts[0].bytes) >= kWideSet;
  return isLoop || node.kind == Kind::kBackReference || std::any_of(node.parts.begin(), node.parts.end(), HasWideLoop);
}

// The most selective of the runs without a wide loop and of the stretches inside the parts that have one.
RegexNode BestOfSequence(const std::vector<RegexNode>& parts) {
  std::vector<RegexNode> stretches(1);
  for (const RegexNode& part : parts) {
    if (HasWideLoop(part)) {
      stretches.push_back(MostSelectiveStretch(part));
      stretches.emplace_back();
    } else {
      stretches.back().parts.push_back(part);
    }
  }
  return *std::max_element(stretches.begin(), stretches.end(),
                           [](const RegexNode& a, const RegexNode& b) { return Selectivity(a) < Selectivity(b); });
}

}  // namespace

std::optional<std::string> AsLiteral(const RegexNode& node) {
  std::string text;
  if (node.kind == Kind::kByte && node.bytes.count() == 1 && !node.bytes['\n']) {
    size_t b = 0;
    while (!node.bytes[b]) ++b;
    text += static_cast<char>(b);
  } else if (node.kind == Kind::kSequence) {
    for (const RegexNode& part : node.parts) {
      const std::optional<std::string> piece = AsLiteral(part);
      if (!piece) return std::nullopt;
      text += *piece;
    }
  } else {
    return std::nullopt;
  }
  return text;
}

double Selectivity(const RegexNode& node) {
  double bits = 0;
  switch (node.kind) {
    case Kind::kByte:
      bits = 7 - std::log2(static_cast<double>(std::max<size_t>(1, LowerHalfCount(node.bytes))));
      break;
    case Kind::kSequence:
    case Kind::kFirstGroup:
      for (const RegexNode& part : node.parts) bits += Selectivity(part);
      break;
    case Kind::kChoice:
      bits = kNothing;
      for (const RegexNode& part : node.parts) bits = std::min(bits, Selectivity(part));
      break;
    case Kind::kRepeat:
      bits = node.min * Selectivity(node.parts[0]);
      break;
    default:
      break;
  }
  return bits;
}

RegexNode MostSelectiveStretch(const RegexNode& node) {
  if (!HasWideLoop(node)) return node;
  switch (node.kind) {
    case Kind::kSequence:
    case Kind::kFirstGroup:
      return BestOfSequence(node.parts);
    case Kind::kChoice: {
      std::vector<RegexNode> branches;
      for (const RegexNode& part : node.parts) branches.push_back(MostSelectiveStretch(part));
      return ChoiceOf(std::move(branches));
    }
    default:
      return node.min > 0 ? MostSelectiveStretch(node.parts[0]) : RegexNode{};
  }
}
