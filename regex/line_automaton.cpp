#include "regex/line_automaton.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include "regex/byte_classes.h"

// A lazily built DFA. All patterns are compiled into one NFA, whose matches bear the pattern's number; a state of the
// DFA is the set of NFA nodes that some text leads to, and is built when a text first does. Since a match may begin at
// any byte, the nodes that patterns begin with belong to every state (unanchored_): they are left out of the sets.
//
// Each state has a row in two tables of transitions. The plain inner loop looks at the fast one only, in which a
// transition that has not been built, and one to a state with a match, lead to the trap state in row 0. The exact one
// then tells which of the two it was.

using Kind = RegexNode::Kind;

namespace {

constexpr int kMaxCopies = 16;          // repetitions that are counted; more are taken for any number
constexpr size_t kStateOverhead = 256;  // bytes of a state beside its rows and nodes, about
constexpr size_t kBlock = 16;           // bytes between two looks at the cursors

ByteSet WithUpperHalf(const ByteSet& bytes) {
  static const ByteSet kUpperHalf = ~ByteSet() << 128;
  return OnlyByte(bytes) ? bytes : bytes | kUpperHalf;
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
  hasLineEnds_ =
      std::any_of(nodes_.begin(), nodes_.end(), [](const Node& node) { return node.type == Node::Type::kLineEnd; });
  maxStates_ = std::max<size_t>(2, maxTableSize / (2 * sizeof(State) * rowLen_));
  marks_.resize(nodes_.size());
  wanted_.assign(patterns.size(), true);
  ++closure_;
  for (const uint32_t start : starts_) close(start, false, unanchored_);
  unanchoredSuccessors_.resize(rowLen_);
  reset();
  everyLineTakers_ = matchesIn(followLineEnd(unanchored_, false));
  const std::vector<uint32_t>& atStart = hits_[initial_ / rowLen_];
  everyLineTakers_.insert(everyLineTakers_.end(), atStart.begin(), atStart.end());
  takesEveryLine_ = holdsWanted(everyLineTakers_);
}

LineAutomaton::~LineAutomaton() = default;

size_t LineAutomaton::NodeSetHash::operator()(const NodeSet& set) const {
  const std::string_view bytes(reinterpret_cast<const char*>(set.data()), set.size() * sizeof(uint32_t));
  return std::hash<std::string_view>()(bytes);
}

void LineAutomaton::lookFor(const std::vector<bool>& wanted) {
  if (wanted == wanted_) return;
  wanted_ = wanted;
  takesEveryLine_ = holdsWanted(everyLineTakers_);
  bool isChanged = false;
  for (size_t row = 1; row < hits_.size(); ++row) {
    const bool stops = holdsWanted(hits_[row]);
    const bool endStops = holdsWanted(endHits_[row]);
    isChanged = isChanged || stops != stops_[row] || endStops != endStops_[row];
    stops_[row] = stops;
    endStops_[row] = endStops;
  }
  if (!isChanged) return;
  for (size_t row = 1; row < hits_.size(); ++row) setRow(static_cast<State>(row * rowLen_));
}

bool LineAutomaton::holdsWanted(const std::vector<uint32_t>& patterns) const {
  return std::any_of(patterns.begin(), patterns.end(), [this](uint32_t pattern) { return wanted_[pattern]; });
}

// Makes the fast table's row from the exact table's.
void LineAutomaton::setRow(State state) {
  for (uint32_t byteClass = 0; byteClass < rowLen_; ++byteClass) {
    const State next = exact_[state + byteClass];
    const State to = next & ~kMarked;
    fast_[state + byteClass] = (next & kMarked) != 0 && stopsAt(to) ? kStop : to;
  }
  fast_[state + classOf_['\n']] = stopsAtEnd(state) ? kStop : initial_;
}

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
  std::vector<ByteSet> sets = {ByteSet().set('\n')};
  for (const Node& node : nodes_) sets.push_back(node.bytes);
  rowLen_ = static_cast<uint32_t>(ChooseByteClasses(sets, classOf_));
  byteOf_.resize(rowLen_);
  for (size_t b = 0; b < classOf_.size(); ++b) byteOf_[classOf_[b]] = static_cast<uint8_t>(b);
}

// Adds to `set` the nodes that can be reached from `node` without taking a byte. A node is visited once per closure.
void LineAutomaton::close(uint32_t node, bool atLineStart, NodeSet& set) {
  open_.assign(1, node);
  while (!open_.empty()) {
    const uint32_t current = open_.back();
    open_.pop_back();
    if (std::exchange(marks_[current], closure_) == closure_) continue;
    const Node& visited = nodes_[current];
    switch (visited.type) {
      case Node::Type::kSplit:
        open_.push_back(visited.next);
        open_.push_back(visited.other);
        break;
      case Node::Type::kLineStart:
        if (atLineStart) open_.push_back(visited.next);
        break;
      default:
        set.push_back(current);
    }
  }
}

// The nodes behind `from` when the line ends there; an empty line ends where it starts.
LineAutomaton::NodeSet LineAutomaton::followLineEnd(const NodeSet& from, bool atLineStart) {
  NodeSet reached = from;
  if (!hasLineEnds_) return reached;
  if (atLineStart) reached.insert(reached.end(), unanchored_.begin(), unanchored_.end());
  ++closure_;
  for (size_t i = 0; i < reached.size(); ++i) {
    const Node& node = nodes_[reached[i]];
    if (node.type == Node::Type::kLineEnd) close(node.next, atLineStart, reached);
  }
  return reached;
}

void LineAutomaton::follow(const NodeSet& from, uint8_t byteClass, NodeSet& set) {
  const uint8_t byte = byteOf_[byteClass];
  for (const uint32_t id : from) {
    const Node& node = nodes_[id];
    if (node.type != Node::Type::kByte || !node.bytes[byte]) continue;
    const Node::Type next = nodes_[node.next].type;
    if (next != Node::Type::kByte && next != Node::Type::kMatch) {
      close(node.next, false, set);
    } else if (std::exchange(marks_[node.next], closure_) != closure_) {
      set.push_back(node.next);
    }
  }
}

LineAutomaton::State LineAutomaton::successorOf(State from, uint8_t byteClass) {
  if (exhausted_) return kStop;
  NodeSet set;
  ++closure_;
  follow(*setOf_[from / rowLen_], byteClass, set);
  const State to = set.empty() ? stateOfUnanchored(byteClass) : stateOf(withUnanchored(std::move(set), byteClass));
  if (to == kStop) return kStop;
  exact_[from + byteClass] = hits_[to / rowLen_].empty() ? to : to | kMarked;
  if (!stopsAt(to)) fast_[from + byteClass] = to;
  return to;
}

// The state in which no match that began before the byte can go on: most bytes lead to it.
LineAutomaton::State LineAutomaton::stateOfUnanchored(uint8_t byteClass) {
  if (unanchoredStates_[byteClass] == kStop) unanchoredStates_[byteClass] = stateOf(withUnanchored({}, byteClass));
  return unanchoredStates_[byteClass];
}

// Adds what matches that begin with the byte go on with. The nodes of `set` are those that the closure has visited.
LineAutomaton::NodeSet LineAutomaton::withUnanchored(NodeSet set, uint8_t byteClass) {
  std::optional<NodeSet>& known = unanchoredSuccessors_[byteClass];
  if (!known) {
    ++closure_;
    follow(unanchored_, byteClass, known.emplace());
    ++closure_;
    for (const uint32_t node : set) marks_[node] = closure_;
  }
  for (const uint32_t node : *known) {
    if (std::exchange(marks_[node], closure_) != closure_) set.push_back(node);
  }
  return set;
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
  endHits_.push_back(hasLineEnds_ ? matchesIn(followLineEnd(state->first, state->second == initial_)) : hits_.back());
  stops_.push_back(holdsWanted(hits_.back()));
  endStops_.push_back(holdsWanted(endHits_.back()));
  fast_.resize(fast_.size() + rowLen_, kStop);
  exact_.resize(fast_.size(), kStop);
  if (!endStops_.back()) fast_[state->second + classOf_['\n']] = initial_;
  memory_ += 2 * rowLen_ * sizeof(State) + state->first.size() * sizeof(uint32_t) + kStateOverhead;
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
  unanchoredStates_.assign(rowLen_, kStop);
  states_.clear();
  setOf_ = {nullptr};
  hits_ = {{}};
  endHits_ = {{}};
  stops_ = {false};
  endStops_ = {false};
  memory_ = nodes_.size() * sizeof(Node) + sizeof(*this);
  fast_.assign(rowLen_, kStop);
  exact_.assign(rowLen_, kStop);
  NodeSet set;
  ++closure_;
  for (const uint32_t node : unanchored_) marks_[node] = closure_;
  for (const uint32_t start : starts_) close(start, true, set);
  initial_ = rowLen_;
  stateOf(std::move(set));
}

void LineAutomaton::classify(std::string_view line, std::vector<bool>& found) {
  const bool isOff = !makeRoom();
  found.assign(found.size(), isOff);
  if (isOff) return;
  for (const uint32_t pattern : everyLineTakers_) found[pattern] = true;
  State state = initial_;
  for (const char c : line) {
    const uint8_t byteClass = classOf_[static_cast<unsigned char>(c)];
    State next = exact_[state + byteClass];
    if (next == kStop) {
      if (successorOf(state, byteClass) == kStop) {
        found.assign(found.size(), true);
        return;
      }
      next = exact_[state + byteClass];
    }
    state = next & ~kMarked;
    if (state == next) continue;
    for (const uint32_t pattern : hits_[state / rowLen_]) found[pattern] = true;
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
      next = exact_[state + byteClass] & ~kMarked;
      if (next == kStop) next = successorOf(state, byteClass);
      if (next == kStop || stopsAt(next)) return true;
    }
    state = next;
  }
  return stopsAtEnd(state);
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
    if (isCut && cursor.pos == cursor.end && stopsAtEnd(cursor.state)) markLine(cursor);
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
      next = exact_[cursor.state + byteClass] & ~kMarked;
      if (next == kStop) next = successorOf(cursor.state, byteClass);
    }
    if (next == kStop || stopsAt(next)) {
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
