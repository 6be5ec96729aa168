#include "regex/line_pattern.h"
#include "regex/regex_tree.h"

namespace {

// Whether a byte from 128 belongs to a class depends on the locale where std::regex has the last word.
ByteSet WithUpperHalf(ByteSet bytes) {
  if (bytes.count() == 1) return bytes;
  for (size_t b = 128; b < 256; ++b) bytes.set(b);
  return bytes;
}

std::vector<LinePattern> PatternsOf(const std::vector<RegexNode>& nodes);

LinePattern PatternOf(const RegexNode& node) {
  switch (node.kind) {
    case RegexNode::Kind::kByte:
      return {.kind = LinePattern::Kind::kByte, .bytes = WithUpperHalf(node.bytes)};
    case RegexNode::Kind::kSequence:
    case RegexNode::Kind::kFirstGroup:
      return {.kind = LinePattern::Kind::kSequence, .parts = PatternsOf(node.parts)};
    case RegexNode::Kind::kChoice:
      return {.kind = LinePattern::Kind::kChoice, .parts = PatternsOf(node.parts)};
    case RegexNode::Kind::kRepeat:
      return {.kind = LinePattern::Kind::kRepeat, .parts = PatternsOf(node.parts), .min = node.min, .max = node.max};
    case RegexNode::Kind::kLineStart:
      return {.kind = LinePattern::Kind::kLineStart};
    case RegexNode::Kind::kLineEnd:
      return {.kind = LinePattern::Kind::kLineEnd};
    case RegexNode::Kind::kBackReference:
      return AnyText();
    default:
      return {};
  }
}

std::vector<LinePattern> PatternsOf(const std::vector<RegexNode>& nodes) {
  std::vector<LinePattern> patterns;
  for (const RegexNode& node : nodes) patterns.push_back(PatternOf(node));
  return patterns;
}

}  // namespace

std::optional<LinePattern> ReadRegex(std::string_view expression) {
  const std::optional<RegexTree> tree = ReadRegexTree(expression);
  if (!tree) return std::nullopt;
  return PatternOf(tree->root);
}
