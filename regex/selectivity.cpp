#include "regex/selectivity.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

using Kind = RegexNode::Kind;

constexpr int kShortRun = 4;      // repetitions of a wide set that are still remembered
constexpr double kNothing = 1e9;  // selectivity of a choice without branches, which takes no line

size_t LowerHalfCount(const ByteSet& bytes) {
  static const ByteSet kLowerHalf = ~ByteSet() >> 128;
  return (bytes & kLowerHalf).count();
}

// A back-reference counts as a loop over all bytes; what a look-ahead holds takes no byte.
bool HasWideLoop(const RegexNode& node, size_t widest) {
  if (IsLookAhead(node)) return false;
  const bool isLoop = node.kind == Kind::kRepeat && node.parts[0].kind == Kind::kByte &&
                      (node.max == RegexNode::kUnbounded || node.max >= kShortRun) &&
                      LowerHalfCount(node.parts[0].bytes) > widest;
  return isLoop || node.kind == Kind::kBackReference ||
         std::any_of(node.parts.begin(), node.parts.end(),
                     [widest](const RegexNode& part) { return HasWideLoop(part, widest); });
}

// The runs without a wide loop, and the stretches inside the parts that have one.
std::vector<RegexNode> StretchesOfSequence(const std::vector<RegexNode>& parts, size_t widest) {
  std::vector<RegexNode> stretches;
  bool isOpen = false;
  for (const RegexNode& part : parts) {
    if (HasWideLoop(part, widest)) {
      for (RegexNode& stretch : Stretches(part, widest)) stretches.push_back(std::move(stretch));
      isOpen = false;
    } else {
      if (!isOpen) stretches.emplace_back();
      stretches.back().parts.push_back(part);
      isOpen = true;
    }
  }
  return stretches;
}

bool AppendLiteral(const RegexNode& node, std::string& text) {
  if (node.kind == Kind::kSequence) {
    return std::all_of(node.parts.begin(), node.parts.end(),
                       [&text](const RegexNode& part) { return AppendLiteral(part, text); });
  }
  if (node.kind != Kind::kByte) return false;
  const std::optional<char> byte = OnlyByte(node.bytes);
  if (!byte || *byte == '\n') return false;
  text += *byte;
  return true;
}

}  // namespace

std::optional<std::string> AsLiteral(const RegexNode& node) {
  std::string text;
  if (!AppendLiteral(node, text)) return std::nullopt;
  return text;
}

std::string LongestText(const RegexNode& node) {
  const bool isPassed =
      node.kind == Kind::kSequence || node.kind == Kind::kFirstGroup || (node.kind == Kind::kRepeat && node.min > 0);
  if (!isPassed) return AsLiteral(node).value_or("");
  std::string longest;
  const auto keep = [&longest](std::string text) {
    if (text.size() > longest.size()) longest = std::move(text);
  };
  std::string run;
  for (const RegexNode& part : node.parts) {
    const size_t size = run.size();
    if (AppendLiteral(part, run)) continue;
    run.resize(size);
    keep(std::exchange(run, {}));
    keep(LongestText(part));
  }
  keep(std::move(run));
  return longest;
}

double Selectivity(const RegexNode& node) {
  double bits = 0;
  switch (node.kind) {
    case Kind::kByte: {
      const size_t count = LowerHalfCount(node.bytes);
      bits = count <= 1 ? 7 : 7 - std::log2(static_cast<double>(count));
      break;
    }
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

RegexNode MostSelective(std::vector<RegexNode> nodes) {
  if (nodes.empty()) return {};
  return std::move(*std::max_element(nodes.begin(), nodes.end(), [](const RegexNode& a, const RegexNode& b) {
    return Selectivity(a) < Selectivity(b);
  }));
}

std::vector<RegexNode> Stretches(const RegexNode& node, size_t widest) {
  if (node.kind == Kind::kSequence) return StretchesOfSequence(node.parts, widest);
  if (!HasWideLoop(node, widest)) return {node};
  switch (node.kind) {
    case Kind::kFirstGroup:
      return Stretches(node.parts[0], widest);
    case Kind::kRepeat:
      return node.min > 0 ? Stretches(node.parts[0], widest) : std::vector<RegexNode>();
    case Kind::kChoice: {
      std::vector<RegexNode> branches;
      for (const RegexNode& part : node.parts) branches.push_back(MostSelective(Stretches(part, widest)));
      return {ChoiceOf(std::move(branches))};
    }
    default:
      return {};
  }
}
