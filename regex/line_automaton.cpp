#include "regex/line_automaton.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "regex/byte_classes.h"

using Kind = RegexNode::Kind;

namespace {

constexpr int kMaxCopies = 16;  // repetitions that are counted; more are taken for any number
constexpr int kMaxResets = 16;  // after so many exhausted tables the automaton rules nothing out any more
constexpr size_t kBlock = 16;   // bytes between two looks at the cursors

ByteSet WithUpperHalf(ByteSet bytes) {
  if (bytes.count() == 1) return bytes;
  for (size_t b = 128; b < 256; ++b) bytes.set(b);
  return bytes;
}

}  // namespace

// A state of the non-deterministic automaton.
struct LineAutomaton::Node {
  enum class Type { kByte, kSplit, kLineStart, kLineEnd, kMatch };
  Type type;
  uint32_t next = 0;   // the pattern's number for kMatch
  uint32_t other = 0;  // second way of a split
  ByteSet bytes = {};
};

// A place in a stretch of the text that is being searched.
struct LineAutomaton::Cursor {
  const char* begin;  // of the stretch
  const char* pos;
  const char* end;
  State state;
  std::vector<const char*> lines;  // found, by their first bytes
};

LineAutomaton::LineAutomaton(const std::vector<RegexNode>& patterns, size_t maxTableSize) {
  for (size_t i = 0; i < patterns.size(); ++i) {
    starts_.push_back(build(patterns[i], addNode({.type = Node::Type::kMatch, .next = static_cast<uint32_t>(i)})));
  }
  chooseClasses();
  maxStates_ = std::max<size_t>(2, maxTableSize / (2 * sizeof(State) * rowLen_));
  marks_.resize(nodes_.size());
  ++closure_;
  for (const uint32_t start : starts_) close(start, false, floating_);
  floatingSteps_.resize(rowLen_);
  reset();
  takesEveryLine_ = hasHit(initial_) || !matchesIn(stepAtLineEnd(floating_, false)).empty();
}

LineAutomaton::~LineAutomaton() = default;

uint32_t LineAutomaton::addNode(const Node& node) {
  nodes_.push_back(node);
  return static_cast<uint32_t>(nodes_.size() - 1);
}

// Builds the nodes of a pattern in front of the node `next` and returns the first of them.
uint32_t LineAutomaton::build(const RegexNode& pattern, uint32_t next) {
  switch (pattern.kind) {
    case Kind::kByte:
      return addNode({.type = Node::Type::kByte, .next = next, .bytes = WithUpperHalf(pattern.bytes)});
    case Kind::kLineStart:
      return addNode({.type = Node::Type::kLineStart, .next = next});
    case Kind::kLineEnd:
      return addNode({.type = Node::Type::kLineEnd, .next = next});
    case Kind::kBackReference:
      return build(AnyText(), next);
    case Kind::kSequence:
    case Kind::kFirstGroup:
      for (size_t i = pattern.parts.size(); i > 0; --i) next = build(pattern.parts[i - 1], next);
      return next;
    case Kind::kChoice: {
      // A choice without branches is a byte out of none.
      uint32_t entry = addNode({.type = Node::Type::kByte});
      for (const RegexNode& part : pattern.parts) {
        entry = addNode({.type = Node::Type::kSplit, .next = build(part, next), .other = entry});
      }
      return entry;
    }
    case Kind::kRepeat:
      return buildRepeat(pattern, next);
    default:
      return next;
  }
}

uint32_t LineAutomaton::buildRepeat(const RegexNode& pattern, uint32_t next) {
  const RegexNode& body = pattern.parts[0];
  const int min = std::min(pattern.min, kMaxCopies);
  uint32_t entry = next;
  if (pattern.max == RegexNode::kUnbounded || pattern.max > kMaxCopies) {
    entry = addNode({.type = Node::Type::kSplit, .other = next});
    const uint32_t first = build(body, entry);
    nodes_[entry].next = first;
  } else {
    for (int i = min; i < pattern.max; ++i) {
      entry = addNode({.type = Node::Type::kSplit, .next = build(body, entry), .other = next});
    }
  }
  for (int i = 0; i < min; ++i) entry = build(body, entry);
  return entry;
}

// The line feed has a class of its own.
void LineAutomaton::chooseClasses() {
  std::unordered_set<ByteSet> sets = {ByteSet().set('\n')};
  for (const Node& node : nodes_) sets.insert(node.bytes);
  rowLen_ = static_cast<uint32_t>(ChooseByteClasses(sets, classOf_));
  byteOf_.resize(rowLen_);
  for (size_t b = 0; b < classOf_.size(); ++b) byteOf_[classOf_[b]] = static_cast<uint8_t>(b);
}

// Adds to `set` the nodes that can be reached from `node` without taking a byte. A node is visited once per closure.
void LineAutomaton::close(uint32_t node, bool atLineStart, NodeSet& set) {
  NodeSet open = {node};
  while (!open.empty()) {
    const uint32_t current = open.back();
    open.pop_back();
    if (std::exchange(marks_[current], closure_) == closure_) continue;
    const Node& visited = nodes_[current];
    switch (visited.type) {
      case Node::Type::kSplit:
        open.push_back(visited.next);
        open.push_back(visited.other);
        break;
      case Node::Type::kLineStart:
        if (atLineStart) open.push_back(visited.next);
        break;
      default:
        set.push_back(current);
    }
  }
}

// The nodes behind `from` when the line ends there; an empty line ends where it starts.
LineAutomaton::NodeSet LineAutomaton::stepAtLineEnd(const NodeSet& from, bool atLineStart) {
  NodeSet reached = from;
  if (atLineStart) reached.insert(reached.end(), floating_.begin(), floating_.end());
  ++closure_;
  for (size_t i = 0; i < reached.size(); ++i) {
    const Node& node = nodes_[reached[i]];
    if (node.type == Node::Type::kLineEnd) close(node.next, atLineStart, reached);
  }
  return reached;
}

void LineAutomaton::stepBy(const NodeSet& from, uint8_t byteClass, NodeSet& set) {
  const uint8_t byte = byteOf_[byteClass];
  for (const uint32_t id : from) {
    const Node& node = nodes_[id];
    if (node.type == Node::Type::kByte && node.bytes[byte]) close(node.next, false, set);
  }
}

LineAutomaton::State LineAutomaton::step(State from, uint8_t byteClass) {
  if (exhausted_) return kStop;
  const std::optional<NodeSet>& known = floatingSteps_[byteClass];
  NodeSet set;
  ++closure_;
  if (known) {
    set = *known;
    for (const uint32_t node : set) marks_[node] = closure_;
  } else {
    stepBy(floating_, byteClass, set);
    floatingSteps_[byteClass] = set;
  }
  stepBy(*setOf_[from / rowLen_], byteClass, set);
  const State to = stateOf(std::move(set));
  if (to == kStop) return kStop;
  exact_[from + byteClass] = to;
  if (!hasHit(to)) fast_[from + byteClass] = to;
  return to;
}

// The state of a set of nodes, a new one when it is not known. kStop when there is no room for another.
LineAutomaton::State LineAutomaton::stateOf(NodeSet set) {
  std::sort(set.begin(), set.end());
  const auto [state, isNew] = states_.try_emplace(std::move(set), static_cast<State>(fast_.size()));
  if (!isNew) return state->second;
  if (setOf_.size() >= maxStates_) {
    states_.erase(state);
    exhausted_ = true;
    return kStop;
  }
  setOf_.push_back(&state->first);
  hits_.push_back(matchesIn(state->first));
  endHits_.push_back(matchesIn(stepAtLineEnd(state->first, state->second == initial_)));
  fast_.resize(fast_.size() + rowLen_, kStop);
  exact_.resize(fast_.size(), kStop);
  if (endHits_.back().empty()) fast_[state->second + classOf_['\n']] = initial_;
  return state->second;
}

std::vector<uint32_t> LineAutomaton::matchesIn(const NodeSet& set) const {
  std::vector<uint32_t> patterns;
  for (const uint32_t node : set) {
    if (nodes_[node].type == Node::Type::kMatch) patterns.push_back(nodes_[node].next);
  }
  return patterns;
}

// Forgets all states, so that there is room again. False when that has happened too often.
bool LineAutomaton::makeRoom() {
  if (!exhausted_) return true;
  if (resets_ == kMaxResets) return false;
  ++resets_;
  reset();
  return true;
}

void LineAutomaton::reset() {
  exhausted_ = false;
  states_.clear();
  setOf_ = {nullptr};
  hits_ = {{}};
  endHits_ = {{}};
  fast_.assign(rowLen_, kStop);
  exact_.assign(rowLen_, kStop);
  NodeSet set;
  ++closure_;
  for (const uint32_t node : floating_) marks_[node] = closure_;
  for (const uint32_t start : starts_) close(start, true, set);
  initial_ = rowLen_;
  stateOf(std::move(set));
}

void LineAutomaton::classify(std::string_view line, std::vector<bool>& found) {
  if (takesEveryLine_ || !makeRoom()) {
    found.assign(found.size(), true);
    return;
  }
  found.assign(found.size(), false);
  State state = initial_;
  for (const char c : line) {
    const uint8_t byteClass = classOf_[static_cast<unsigned char>(c)];
    State next = fast_[state + byteClass];
    if (next == kStop) {
      next = exact_[state + byteClass] != kStop ? exact_[state + byteClass] : step(state, byteClass);
      if (next == kStop) {
        found.assign(found.size(), true);
        return;
      }
      for (const uint32_t pattern : hits_[next / rowLen_]) found[pattern] = true;
    }
    state = next;
  }
  for (const uint32_t pattern : endHits_[state / rowLen_]) found[pattern] = true;
}

bool LineAutomaton::mayMatch(std::string_view line) {
  if (takesEveryLine_ || !makeRoom()) return true;
  State state = initial_;
  for (const char c : line) {
    const uint8_t byteClass = classOf_[static_cast<unsigned char>(c)];
    State next = fast_[state + byteClass];
    if (next == kStop) {
      if (exact_[state + byteClass] != kStop) return true;  // known, so it has a hit
      next = step(state, byteClass);
      if (next == kStop || hasHit(next)) return true;
    }
    state = next;
  }
  return hasEndHit(state);
}

void LineAutomaton::findLines(std::string_view text, std::vector<size_t>& starts) {
  makeRoom();
  std::array<Cursor, kCursors> cursors;
  const char* begin = text.data();
  const char* const textEnd = text.data() + text.size();
  for (size_t i = 0; i < kCursors; ++i) {
    const char* end = textEnd;
    if (i + 1 < kCursors) {
      const char* const target = std::max(begin, text.data() + text.size() / kCursors * (i + 1));
      const void* lineFeed = memchr(target, '\n', static_cast<size_t>(textEnd - target));
      if (lineFeed != nullptr) end = static_cast<const char*>(lineFeed) + 1;
    }
    cursors[i] = {begin, begin, end, initial_, {}};
    begin = end;
  }
  while (std::all_of(cursors.begin(), cursors.end(),
                     [](const Cursor& c) { return static_cast<size_t>(c.end - c.pos) >= kBlock; })) {
    advanceTogether(cursors);
  }
  for (Cursor& cursor : cursors) {
    advance(cursor, cursor.end);
    const bool isCut = cursor.end == textEnd && cursor.begin != cursor.end && textEnd[-1] != '\n';
    if (isCut && cursor.pos == cursor.end && hasEndHit(cursor.state)) markLine(cursor);
    for (const char* line : cursor.lines) starts.push_back(static_cast<size_t>(line - text.data()));
  }
}

// Moves all cursors by one block, those that come upon a hit or an unknown state with care.
void LineAutomaton::advanceTogether(std::array<Cursor, kCursors>& cursors) {
  const State* const fast = fast_.data();
  const uint8_t* const classOf = classOf_.data();
  const auto next = [fast, classOf](State state, char c) {
    return fast[state + classOf[static_cast<unsigned char>(c)]];
  };
  auto& [a, b, c, d] = cursors;
  State stateA = a.state;
  State stateB = b.state;
  State stateC = c.state;
  State stateD = d.state;
  for (size_t k = 0; k < kBlock; ++k) {
    stateA = next(stateA, a.pos[k]);
    stateB = next(stateB, b.pos[k]);
    stateC = next(stateC, c.pos[k]);
    stateD = next(stateD, d.pos[k]);
  }
  const State states[kCursors] = {stateA, stateB, stateC, stateD};
  for (size_t i = 0; i < kCursors; ++i) {
    if (states[i] == kStop) {
      advance(cursors[i], cursors[i].pos + kBlock);
    } else {
      cursors[i].state = states[i];
      cursors[i].pos += kBlock;
    }
  }
}

// Moves a cursor byte by byte up to `stop`, or behind the end of a line that is found. Without room for more states the
// rest of the stretch is found line by line.
void LineAutomaton::advance(Cursor& cursor, const char* stop) {
  while (cursor.pos < stop) {
    const uint8_t byteClass = classOf_[static_cast<unsigned char>(*cursor.pos)];
    State next = fast_[cursor.state + byteClass];
    if (next == kStop && *cursor.pos != '\n') {
      next = exact_[cursor.state + byteClass];
      if (next == kStop) next = step(cursor.state, byteClass);
    }
    if (next == kStop || hasHit(next)) {
      markLine(cursor);
    } else {
      cursor.state = next;
      ++cursor.pos;
    }
  }
}

// Notes the line of the cursor as found and moves behind it.
void LineAutomaton::markLine(Cursor& cursor) const {
  const void* before = memrchr(cursor.begin, '\n', static_cast<size_t>(cursor.pos - cursor.begin));
  cursor.lines.push_back(before == nullptr ? cursor.begin : static_cast<const char*>(before) + 1);
  const void* behind = memchr(cursor.pos, '\n', static_cast<size_t>(cursor.end - cursor.pos));
  cursor.pos = behind == nullptr ? cursor.end : static_cast<const char*>(behind) + 1;
  cursor.state = initial_;
}
