// A lazily built DFA. The expression is compiled into an NFA; a state of the DFA is the set of NFA nodes that some text
// leads to, with what their conditions have to know of the byte before. Conditions on the next byte are judged when
// that byte is known.

#include "cli/check/text_set.h"

#include <algorithm>
#include <set>
#include <unordered_set>

#include "analysis/pattern_search.h"
#include "cli/rule_files/rule_texts.h"
#include "regex/regex_reader.h"

namespace {

using Kind = RegexNode::Kind;

constexpr char kVariableByte = '\x01';    // in place of a variable
constexpr size_t kMaxNodes = 20'000;      // NFA nodes of an expression
constexpr size_t kMaxVisited = 20'000;    // states of all sets together that one search visits
constexpr size_t kMaxStateSize = 40'000;  // NFA nodes in the states of one set that are kept at a time

bool IsWord(int byte) {
  return byte != 256 &&
         ((byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || byte == '_');
}

ByteSet WordBytes() {
  ByteSet bytes;
  for (int b = 0; b < 256; ++b) bytes[static_cast<size_t>(b)] = IsWord(b);
  return bytes;
}

void FillVariables(RegexNode& node) {
  if (node.kind == Kind::kByte && node.bytes.count() == 1 && node.bytes[kVariableByte]) {
    node = AnyText();
    return;
  }
  for (RegexNode& part : node.parts) FillVariables(part);
}

// Which byte of a class reads best in an example.
int Readability(int byte) {
  if (byte >= 'a' && byte <= 'z') return 6;
  if (byte >= '0' && byte <= '9') return 5;
  if (byte >= 'A' && byte <= 'Z') return 4;
  if (byte == ' ') return 3;
  if (byte > ' ' && byte < 127) return 2;
  return byte == '\t' || byte >= 128 ? 1 : 0;
}

}  // namespace

std::optional<RegexTree> ReadWithVariables(const std::string& expression) {
  std::optional<RegexTree> tree = ReadRegex(WithVariablesAs(expression, std::string(1, kVariableByte))).tree;
  if (tree) FillVariables(tree->root);
  return tree;
}

bool IsAnyText(const RegexNode& node) {
  return node.kind == Kind::kRepeat && node.min == 0 && node.max == RegexNode::kUnbounded &&
         node.parts[0].kind == Kind::kByte && node.parts[0].bytes.all();
}

bool TakesEmptyText(const RegexNode& node) {
  switch (node.kind) {
    case Kind::kSequence:
    case Kind::kFirstGroup:
      return std::all_of(node.parts.begin(), node.parts.end(), TakesEmptyText);
    case Kind::kChoice:
      return std::any_of(node.parts.begin(), node.parts.end(), TakesEmptyText);
    case Kind::kRepeat:
      return node.min == 0 || TakesEmptyText(node.parts[0]);
    default:
      return false;
  }
}

ByteSet FirstBytes(const RegexNode& node) {
  ByteSet bytes = node.bytes;
  for (const RegexNode& part : node.parts) {
    bytes |= FirstBytes(part);
    const bool isInOrder = node.kind == Kind::kSequence || node.kind == Kind::kFirstGroup;
    if (isInOrder && !MayBeEmpty(part)) break;
  }
  return bytes;
}

std::optional<TextSet> TextSet::ofKeyWords(const std::string& keyWords) {
  const std::string filled = WithVariablesAs(keyWords, std::string(1, kVariableByte));
  std::optional<RegexNode> node = ReadKeyWords(filled);
  if (!node) return std::nullopt;
  FillVariables(*node);
  return of(*node, true);
}

std::optional<TextSet> TextSet::foundBy(const std::string& expression) {
  const std::optional<RegexTree> tree = ReadWithVariables(expression);
  return tree ? of(tree->root, true) : std::nullopt;
}

std::optional<TextSet> TextSet::matchedBy(const std::string& expression) {
  const std::optional<RegexTree> tree = ReadWithVariables(expression);
  return tree ? of(tree->root, false) : std::nullopt;
}

std::optional<TextSet> TextSet::matchedBy(const RegexNode& node) { return of(node, false); }

std::optional<TextSet> TextSet::of(const RegexNode& node, bool isSearch) {
  TextSet set;
  set.isSearch_ = isSearch;
  set.begin_ = set.build(node, set.add({.kind = Node::Kind::kMatch}));
  if (set.isTooLarge_) return std::nullopt;
  std::unordered_set<ByteSet> sets{WordBytes()};
  for (const Node& place : set.nodes_) sets.insert(place.bytes);
  ChooseByteClasses(sets, set.classOf_);
  set.states_.resize(2);
  set.start_ = set.stateOf({set.begin_}, kStart);
  return set;
}

uint32_t TextSet::add(Node node) {
  if (nodes_.size() >= kMaxNodes) {
    isTooLarge_ = true;
    return 0;
  }
  nodes_.push_back(node);
  return static_cast<uint32_t>(nodes_.size() - 1);
}

// Builds the NFA of a part of the expression in front of the NFA node `next`, and returns its first node.
uint32_t TextSet::build(const RegexNode& node, uint32_t next) {
  if (isTooLarge_) return 0;
  switch (node.kind) {
    case Kind::kByte:
      return add({.kind = Node::Kind::kByte, .next = next, .bytes = node.bytes});
    case Kind::kSequence:
    case Kind::kFirstGroup:
      for (size_t i = node.parts.size(); i > 0; --i) next = build(node.parts[i - 1], next);
      return next;
    case Kind::kChoice: {
      if (node.parts.empty()) return add({.kind = Node::Kind::kByte, .next = next});
      uint32_t entry = build(node.parts.back(), next);
      for (size_t i = node.parts.size() - 1; i > 0; --i) {
        const uint32_t branch = build(node.parts[i - 1], next);
        entry = add({.kind = Node::Kind::kSplit, .next = branch, .other = entry});
      }
      return entry;
    }
    case Kind::kRepeat:
      return buildRepeat(node, next);
    case Kind::kLineStart:
      return add({.kind = Node::Kind::kLineStart, .next = next});
    case Kind::kLineEnd:
      return add({.kind = Node::Kind::kLineEnd, .next = next});
    case Kind::kWordBoundary:
      return add({.kind = Node::Kind::kWordEdge, .next = next});
    case Kind::kNotWordBoundary:
      return add({.kind = Node::Kind::kNoWordEdge, .next = next});
    case Kind::kLookAhead:
    case Kind::kNegativeLookAhead:
      return buildLookAhead(node, next);
    default:
      break;
  }
  isTooLarge_ = true;
  return 0;
}

// A look-ahead for what may be empty is met everywhere.
uint32_t TextSet::buildLookAhead(const RegexNode& node, uint32_t next) {
  const bool isNegative = node.kind == Kind::kNegativeLookAhead;
  const RegexNode* inner = &node.parts[0];
  while (inner->kind == Kind::kSequence && inner->parts.size() == 1) inner = &inner->parts[0];
  if (TakesEmptyText(*inner)) return isNegative ? add({.kind = Node::Kind::kByte, .next = next}) : next;
  if (inner->kind == Kind::kByte) {
    return add(
        {.kind = isNegative ? Node::Kind::kNextIsNot : Node::Kind::kNextIs, .next = next, .bytes = inner->bytes});
  }
  isExact_ = false;
  const bool isOfBytes = !isNegative && !MayBeEmpty(*inner);
  return isOfBytes ? add({.kind = Node::Kind::kNextIs, .next = next, .bytes = FirstBytes(*inner)}) : next;
}

uint32_t TextSet::buildRepeat(const RegexNode& node, uint32_t next) {
  const RegexNode& part = node.parts[0];
  if (node.max == RegexNode::kUnbounded) {
    const uint32_t loop = add({.kind = Node::Kind::kSplit, .other = next});
    const uint32_t round = build(part, loop);
    if (isTooLarge_) return 0;
    nodes_[loop].next = round;
    next = loop;
  } else {
    const uint32_t end = next;
    for (int i = node.min; i < node.max && !isTooLarge_; ++i) {
      const uint32_t round = build(part, next);
      next = add({.kind = Node::Kind::kSplit, .next = round, .other = end});
    }
  }
  for (int i = 0; i < node.min && !isTooLarge_; ++i) next = build(part, next);
  return next;
}

uint32_t TextSet::stateOf(std::vector<uint32_t> nodes, Before before) {
  if (nodes.empty() && !isSearch_) return kNone;
  if (isSearch_) nodes.push_back(begin_);
  std::sort(nodes.begin(), nodes.end());
  nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
  const auto [known, isNew] = known_.try_emplace({nodes, before}, static_cast<uint32_t>(states_.size()));
  if (isNew) states_.push_back({std::move(nodes), before, {}});
  return known->second;
}

// Whether the end of the expression is reached from `state` when `next` is the next byte; `bytes`: the nodes reached
// that take a byte.
bool TextSet::follow(uint32_t state, int next, std::vector<uint32_t>& bytes) const {
  using Type = Node::Kind;
  const Before before = states_[state].before;
  const bool isEdge = (before == kWord) != IsWord(next);
  std::vector<bool> isKnown(nodes_.size());
  std::vector<uint32_t> open = states_[state].nodes;
  bool isMatch = false;
  while (!open.empty()) {
    const uint32_t at = open.back();
    open.pop_back();
    if (isKnown[at]) continue;
    isKnown[at] = true;
    const Node& node = nodes_[at];
    bool goesOn = true;
    switch (node.kind) {
      case Type::kMatch:
        isMatch = true;
        goesOn = false;
        break;
      case Type::kByte:
        bytes.push_back(at);
        goesOn = false;
        break;
      case Type::kSplit:
        open.push_back(node.other);
        break;
      case Type::kLineStart:
        goesOn = before == kStart;
        break;
      case Type::kLineEnd:
        goesOn = next == kEnd;
        break;
      case Type::kWordEdge:
      case Type::kNoWordEdge:
        goesOn = isEdge == (node.kind == Type::kWordEdge);
        break;
      default: {
        const bool isIn = next != kEnd && node.bytes[static_cast<size_t>(next)];
        goesOn = isIn == (node.kind == Type::kNextIs);
      }
    }
    if (goesOn) open.push_back(node.next);
  }
  return isMatch;
}

uint32_t TextSet::after(uint32_t state, unsigned char byte) {
  if (state <= kNone) return state;
  const auto known = states_[state].next.find(classOf_[byte]);
  if (known != states_[state].next.end()) return known->second;
  std::vector<uint32_t> places;
  uint32_t result = kAll;
  if (!follow(state, byte, places) || !isSearch_) {
    std::vector<uint32_t> nodes;
    for (const uint32_t place : places) {
      if (nodes_[place].bytes[byte]) nodes.push_back(nodes_[place].next);
    }
    result = stateOf(std::move(nodes), IsWord(byte) ? kWord : kOther);
  }
  return states_[state].next[classOf_[byte]] = result;
}

bool TextSet::takes(uint32_t state) const {
  if (state <= kNone) return state == kAll;
  std::vector<uint32_t> places;
  return follow(state, kEnd, places);
}

// A breadth-first search over the states that the sets are in together.
class TextSearch {
 public:
  TextSearch(const std::vector<TextSet*>& sets, const std::function<bool(const std::vector<bool>&)>& isWanted)
      : sets_(sets), isWanted_(isWanted) {
    chooseBytes();
  }

  TextFound find(size_t maxSize) {
    std::vector<uint32_t> start;
    for (const TextSet* set : sets_) start.push_back(set->start_);
    visit(start, 0, 0, 0);
    for (size_t i = 0; i < visits_.size(); ++i) {
      if (isWantedIn(visits_[i].states)) return {textOf(i), true};
      if (size_ > kMaxStateSize || visits_.size() > kMaxVisited) return {std::nullopt, false};
      if (visits_[i].depth == maxSize) continue;
      for (const unsigned char byte : bytes_) {
        std::vector<uint32_t> next;
        for (size_t s = 0; s < sets_.size(); ++s) next.push_back(sets_[s]->after(visits_[i].states[s], byte));
        visit(next, i, byte, visits_[i].depth + 1);
      }
    }
    return {std::nullopt, true};
  }

 private:
  struct Visit {
    std::vector<uint32_t> states;
    size_t from;
    unsigned char byte;
    size_t depth;
  };

  // One byte, the one that reads best, for all that no set tells apart.
  void chooseBytes() {
    std::map<std::vector<uint32_t>, int> best;
    for (int b = 0; b < 256; ++b) {
      if (b == '\n') continue;
      std::vector<uint32_t> classes;
      for (const TextSet* set : sets_) classes.push_back(set->classOf_[static_cast<size_t>(b)]);
      const auto [known, isNew] = best.try_emplace(classes, b);
      if (!isNew && Readability(b) > Readability(known->second)) known->second = b;
    }
    for (const auto& [classes, byte] : best) bytes_.push_back(static_cast<unsigned char>(byte));
    std::stable_sort(bytes_.begin(), bytes_.end(),
                     [](unsigned char a, unsigned char b) { return Readability(a) > Readability(b); });
  }

  void visit(const std::vector<uint32_t>& states, size_t from, unsigned char byte, size_t depth) {
    if (!known_.insert(states).second) return;
    for (size_t s = 0; s < sets_.size(); ++s) size_ += sets_[s]->states_[states[s]].nodes.size() / 100;
    visits_.push_back({states, from, byte, depth});
  }

  bool isWantedIn(const std::vector<uint32_t>& states) const {
    std::vector<bool> takes;
    for (size_t s = 0; s < sets_.size(); ++s) takes.push_back(sets_[s]->takes(states[s]));
    return isWanted_(takes);
  }

  std::string textOf(size_t visit) const {
    std::string text;
    for (; visit != 0; visit = visits_[visit].from) text += static_cast<char>(visits_[visit].byte);
    std::reverse(text.begin(), text.end());
    return text;
  }

  const std::vector<TextSet*>& sets_;
  const std::function<bool(const std::vector<bool>&)>& isWanted_;
  std::vector<unsigned char> bytes_;
  std::set<std::vector<uint32_t>> known_;
  std::vector<Visit> visits_;
  size_t size_ = 0;
};

TextFound FindText(const std::vector<TextSet*>& sets, const std::function<bool(const std::vector<bool>&)>& isWanted,
                   size_t maxSize) {
  return TextSearch(sets, isWanted).find(maxSize);
}
