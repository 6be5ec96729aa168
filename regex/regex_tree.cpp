#include "regex/regex_tree.h"

#include <utility>

RegexNode LiteralNode(std::string_view text) {
  RegexNode sequence;
  for (const char c : text) {
    RegexNode byte{.kind = RegexNode::Kind::kByte};
    byte.bytes.set(static_cast<unsigned char>(c));
    sequence.parts.push_back(byte);
  }
  return sequence;
}

RegexNode AnyText() {
  RegexNode byte{.kind = RegexNode::Kind::kByte};
  byte.bytes.set();
  return {.kind = RegexNode::Kind::kRepeat, .parts = {byte}, .min = 0, .max = RegexNode::kUnbounded};
}

RegexNode ChoiceOf(std::vector<RegexNode> parts) {
  if (parts.size() == 1) return std::move(parts[0]);
  return {.kind = RegexNode::Kind::kChoice, .parts = std::move(parts)};
}
