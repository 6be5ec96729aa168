#include "regex/regex_tree.h"

#include <utility>

using Kind = RegexNode::Kind;

RegexNode LiteralNode(std::string_view text) {
  RegexNode sequence;
  for (const char c : text) {
    RegexNode byte{.kind = Kind::kByte};
    byte.bytes.set(static_cast<unsigned char>(c));
    sequence.parts.push_back(byte);
  }
  return sequence;
}

RegexNode AnyText() {
  RegexNode byte{.kind = Kind::kByte};
  byte.bytes.set();
  return {.kind = Kind::kRepeat, .parts = {byte}, .min = 0, .max = RegexNode::kUnbounded};
}

RegexNode ChoiceOf(std::vector<RegexNode> parts) {
  if (parts.size() == 1) return std::move(parts[0]);
  return {.kind = Kind::kChoice, .parts = std::move(parts)};
}

bool MayBeEmpty(const RegexNode& node) {
  switch (node.kind) {
    case Kind::kByte:
      return false;
    case Kind::kSequence:
    case Kind::kFirstGroup:
      return std::all_of(node.parts.begin(), node.parts.end(), MayBeEmpty);
    case Kind::kChoice:
      return std::any_of(node.parts.begin(), node.parts.end(), MayBeEmpty);
    case Kind::kRepeat:
      return node.min == 0 || MayBeEmpty(node.parts[0]);
    default:
      return true;
  }
}

bool AlwaysSetsGroup(const RegexNode& node) {
  switch (node.kind) {
    case Kind::kFirstGroup:
      return true;
    case Kind::kSequence:
      return std::any_of(node.parts.begin(), node.parts.end(), AlwaysSetsGroup);
    case Kind::kRepeat:
      return node.min > 0 && AlwaysSetsGroup(node.parts[0]);
    default:
      return false;
  }
}

bool IsLookAhead(const RegexNode& node) {
  return node.kind == Kind::kLookAhead || node.kind == Kind::kNegativeLookAhead;
}
bool IsFirstGroup(const RegexNode& node) { return node.kind == Kind::kFirstGroup; }
bool IsEndless(const RegexNode& node) { return node.kind == Kind::kRepeat && node.max == RegexNode::kUnbounded; }
