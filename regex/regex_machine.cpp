#include "regex/regex_machine.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "regex/byte_classes.h"

// The expression is compiled to the instructions of an NFA, which is simulated as Thompson and Pike describe it: a list
// of threads, highest priority first, is moved over the subject a byte at a time, and of two threads at one instruction
// the lower one is dropped, since whatever it finds the higher one finds too. Each thread carries the span of its match
// and of its first group. The match of the highest thread wins, as it does in a backtracking search that tries one
// thread to its end before the next.
//
// Which instructions the next threads stand at depends on those of the present ones and on the byte alone. So the
// transition is cached, as in a lazily built DFA; only the spans are copied along it. Not cached are transitions at the
// ends of the subject and those for which a look-ahead was tried.
//
// A round of a loop that takes no byte ends the loop, as in the standard libraries. Instructions of a body that may be
// empty therefore exist twice, in front of its first byte and behind it (see Exits).

namespace {

using Kind = RegexNode::Kind;

constexpr uint32_t kNone = UINT32_MAX;
constexpr size_t kMaxCached = 1024 * 1024;  // bytes of the cache, about; past that it is emptied...
constexpr int kSearchesUncached = 4;        // a state costs as much as some transitions
constexpr int kMaxTimesFull = 16;           // ...and after so many times no longer used
constexpr size_t kMaxPrefix = 64;

// Whether the byte behind a place decides if the node matches there.
bool IsDecidedByOneByte(const RegexNode& node) {
  switch (node.kind) {
    case Kind::kByte:
    case Kind::kLineEnd:
      return true;
    case Kind::kChoice:
      return std::all_of(node.parts.begin(), node.parts.end(), IsDecidedByOneByte);
    case Kind::kSequence:
      return node.parts.size() == 1 && IsDecidedByOneByte(node.parts[0]);
    default:
      return false;
  }
}

// Appends the text that every match of the node begins with. False when what follows the node is not part of it.
bool AppendPrefix(const RegexNode& node, std::string& prefix) {
  const auto append = [&prefix](const RegexNode& part) { return AppendPrefix(part, prefix); };
  switch (node.kind) {
    case Kind::kByte: {
      const std::optional<char> byte = OnlyByte(node.bytes);
      if (!byte || prefix.size() == kMaxPrefix) return false;
      prefix += *byte;
      return true;
    }
    case Kind::kSequence:
    case Kind::kFirstGroup:
      return std::all_of(node.parts.begin(), node.parts.end(), append);
    case Kind::kChoice:
      return false;
    case Kind::kRepeat:
      return node.min > 0 && append(node.parts[0]) && node.min == 1 && node.max == 1;
    default:
      return true;  // an assertion takes nothing
  }
}

bool IsWordByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsAtWordBoundary(std::string_view subject, size_t pos) {
  const bool before = pos > 0 && IsWordByte(subject[pos - 1]);
  const bool behind = pos < subject.size() && IsWordByte(subject[pos]);
  return before != behind;
}

}  // namespace

struct RegexMachine::Instruction {
  enum class Type { kByte, kSplit, kGroupBegin, kGroupEnd, kGroupClear, kAssertion, kMatch };
  Type type;
  uint32_t next = 0;   // the preferred branch of a split
  uint32_t other = 0;  // the other branch of a split; where the content of a look-ahead begins
  Kind assertion = Kind::kLineStart;
  ByteSet bytes = {};     // that may be taken; of a look-ahead, that its content may begin with
  bool looksFar = false;  // more than the next byte may decide about the look-ahead
  uint8_t depth = 0;      // of a look-ahead in others, from 1
};

// One thread's transition over a byte. It inherits the span of the thread `source`, except that a group or the match
// may begin or end just before the byte.
struct RegexMachine::Successor {
  uint32_t at;
  uint32_t source;  // index of a thread, or kNone for one that begins
  bool clearsGroup = false;
  bool beginsGroup = false;
  bool endsGroup = false;
};

// All threads' transition over a byte, highest priority first.
struct RegexMachine::Transition {
  std::vector<Successor> successors = {};
  bool isMatch = false;
  Successor match = {};
  bool keepsSpans = false;  // each thread goes on in its place with the span it had
  State* next = nullptr;    // null when it is not known yet
};

struct RegexMachine::State {
  std::vector<std::unique_ptr<Transition>> transitions;  // per class of bytes, null when it is not made yet
};

struct RegexMachine::Simulation {
  std::vector<Thread> threads = {};  // highest priority first
  std::vector<Thread> next = {};
  std::vector<Successor> open = {};
  std::vector<Successor> reached = {};
  Transition transition = {};
  bool lookedFar = false;            // the transition depends on more than the state and the byte
  std::vector<uint64_t> marks = {};  // per instruction, the round that visited it last
  uint64_t round = 0;
};

RegexMachine::RegexMachine(const RegexTree& tree) : simulations_(1) {
  const uint32_t match = add({.type = Instruction::Type::kMatch});
  start_ = build(tree.root, {match, match});
  for (Simulation& simulation : simulations_) simulation.marks.resize(code_.size());
  onlyAtStart_ = reachedFrom(start_, false).empty();
  firstBytes_ = firstBytesFrom(start_);
  AppendPrefix(tree.root, prefix_);
  hasWordBoundary_ = std::any_of(code_.begin(), code_.end(), [](const Instruction& instruction) {
    return instruction.assertion == Kind::kWordBoundary || instruction.assertion == Kind::kNotWordBoundary;
  });
}

RegexMachine::~RegexMachine() = default;

size_t RegexMachine::memory() const { return sizeof(*this) + code_.size() * sizeof(Instruction) + cachedSize_; }

uint32_t RegexMachine::add(const Instruction& instruction) {
  code_.push_back(instruction);
  return static_cast<uint32_t>(code_.size() - 1);
}

// Builds the instructions of a node in front of its exits and returns the first of them.
uint32_t RegexMachine::build(const RegexNode& node, Exits exits) {
  using Type = Instruction::Type;
  switch (node.kind) {
    case Kind::kByte:
      return add({.type = Type::kByte, .next = exits.taken, .bytes = node.bytes});
    case Kind::kSequence:
      return buildSequence(node, exits);
    case Kind::kChoice: {
      uint32_t entry = build(node.parts.back(), exits);
      for (size_t i = node.parts.size() - 1; i > 0; --i) {
        entry = add({.type = Type::kSplit, .next = build(node.parts[i - 1], exits), .other = entry});
      }
      return entry;
    }
    case Kind::kRepeat:
      return buildRepeat(node, exits);
    case Kind::kFirstGroup: {
      const uint32_t taken = add({.type = Type::kGroupEnd, .next = exits.taken});
      const bool same = exits.taken == exits.empty;
      const uint32_t empty = same ? taken : add({.type = Type::kGroupEnd, .next = exits.empty});
      return add({.type = Type::kGroupBegin, .next = build(node.parts[0], {taken, empty})});
    }
    default:
      return buildAssertion(node, exits.empty);
  }
}

uint32_t RegexMachine::buildSequence(const RegexNode& node, Exits exits) {
  for (size_t i = node.parts.size(); i > 0; --i) {
    const RegexNode& part = node.parts[i - 1];
    const uint32_t empty = build(part, exits);
    const bool same = i == 1 || exits.taken == exits.empty || !MayBeEmpty(part);
    exits = {same ? empty : build(part, {exits.taken, exits.taken}), empty};
  }
  return exits.empty;
}

// Builds the rounds of a loop from the last one on. Those before the last that is required come whether or not they
// take a byte; any later one that takes none leaves the loop.
uint32_t RegexMachine::buildRepeat(const RegexNode& node, Exits exits) {
  Exits entry = exits;
  int rounds = node.min;
  if (node.max == RegexNode::kUnbounded) {
    const uint32_t loop = addSplit(node, 0, exits.taken);
    const uint32_t again = buildRound(node, {loop, exits.taken});
    (node.lazy ? code_[loop].other : code_[loop].next) = again;
    const bool same = exits.taken == exits.empty || !MayBeEmpty(node.parts[0]);
    const uint32_t first = same ? again : buildRound(node, {loop, exits.empty});
    if (node.min > 0) {
      entry = {again, first};
      --rounds;
    } else {
      entry = {loop, exits.taken == exits.empty ? loop : addSplit(node, first, exits.empty)};
    }
  }
  for (int i = node.min; i < node.max; ++i) {
    const Exits round = buildRounds(node, entry);
    const uint32_t taken = addSplit(node, round.taken, exits.taken);
    entry = {taken, exits.taken == exits.empty ? taken : addSplit(node, round.empty, exits.empty)};
  }
  for (int i = 0; i < rounds; ++i) entry = buildRounds(node, entry);
  return entry.empty;
}

// A round for when bytes were taken before it, and one for when none were.
RegexMachine::Exits RegexMachine::buildRounds(const RegexNode& loop, Exits exits) {
  const uint32_t empty = buildRound(loop, exits);
  const bool same = exits.taken == exits.empty || !MayBeEmpty(loop.parts[0]);
  return {same ? empty : buildRound(loop, {exits.taken, exits.taken}), empty};
}

// Each round forgets what the group captured in the one before.
uint32_t RegexMachine::buildRound(const RegexNode& loop, Exits exits) {
  const RegexNode& body = loop.parts[0];
  const uint32_t round = build(body, exits);
  if (!Holds(body, IsFirstGroup) || AlwaysSetsGroup(body)) return round;
  return add({.type = Instruction::Type::kGroupClear, .next = round});
}

uint32_t RegexMachine::addSplit(const RegexNode& loop, uint32_t round, uint32_t exit) {
  return add({.type = Instruction::Type::kSplit, .next = loop.lazy ? exit : round, .other = loop.lazy ? round : exit});
}

uint32_t RegexMachine::buildAssertion(const RegexNode& node, uint32_t next) {
  Instruction assertion{.type = Instruction::Type::kAssertion, .next = next, .assertion = node.kind};
  if (IsLookAhead(node)) {
    isLinear_ = isLinear_ && !Holds(node.parts[0], IsEndless);
    assertion.depth = static_cast<uint8_t>(++depth_);
    simulations_.resize(std::max<size_t>(simulations_.size(), depth_ + 1));
    const uint32_t match = add({.type = Instruction::Type::kMatch});
    assertion.other = build(node.parts[0], {match, match});
    --depth_;
    assertion.bytes = firstBytesFrom(assertion.other);
    assertion.looksFar = !IsDecidedByOneByte(node.parts[0]);
  }
  return add(assertion);
}

void RegexMachine::chooseClasses() {
  std::vector<ByteSet> sets;
  for (const Instruction& instruction : code_) sets.push_back(instruction.bytes);
  if (hasWordBoundary_) {
    ByteSet wordBytes;
    for (size_t b = 0; b < wordBytes.size(); ++b) wordBytes[b] = IsWordByte(static_cast<char>(b));
    sets.push_back(wordBytes);
  }
  classCount_ = ChooseByteClasses(sets, classOf_);
}

// What a match from `start` on may begin with; all when it may be empty.
ByteSet RegexMachine::firstBytesFrom(uint32_t start) const {
  ByteSet bytes;
  for (const uint32_t at : reachedFrom(start, true)) {
    if (code_[at].type == Instruction::Type::kMatch) bytes.set();
    bytes |= code_[at].bytes;
  }
  return bytes;
}

// The byte and match instructions reachable from `start` without taking a byte, assuming that every assertion holds;
// without `lineStartHolds`, every one but "^".
std::vector<uint32_t> RegexMachine::reachedFrom(uint32_t start, bool lineStartHolds) const {
  std::vector<uint32_t> reached;
  std::vector<bool> known(code_.size());
  std::vector<uint32_t> open = {start};
  while (!open.empty()) {
    const uint32_t at = open.back();
    open.pop_back();
    const Instruction& instruction = code_[at];
    if (known[at]) continue;
    known[at] = true;
    if (instruction.type == Instruction::Type::kByte || instruction.type == Instruction::Type::kMatch) {
      reached.push_back(at);
    } else if (lineStartHolds || instruction.type != Instruction::Type::kAssertion ||
               instruction.assertion != Kind::kLineStart) {
      open.push_back(instruction.next);
      if (instruction.type == Instruction::Type::kSplit) open.push_back(instruction.other);
    }
  }
  return reached;
}

// Whether a match may begin at `pos`.
bool RegexMachine::mayBegin(std::string_view subject, size_t pos) const {
  return pos == subject.size() ? firstBytes_.all() : firstBytes_[static_cast<unsigned char>(subject[pos])];
}

// The next place, from `pos` on, where a match may begin; the subject's end when there is none.
size_t RegexMachine::nextBegin(std::string_view subject, size_t pos) const {
  if (prefix_.empty()) {
    while (pos < subject.size() && !mayBegin(subject, pos)) ++pos;
    return pos;
  }
  const void* found = memmem(subject.data() + pos, subject.size() - pos, prefix_.data(), prefix_.size());
  return found == nullptr ? subject.size() : static_cast<size_t>(static_cast<const char*>(found) - subject.data());
}

bool RegexMachine::search(std::string_view subject, RegexSpan& match) {
  Simulation& simulation = simulations_[0];
  simulation.threads.clear();
  if (searches_ < kSearchesUncached && ++searches_ == kSearchesUncached) chooseClasses();
  std::optional<RegexSpan> found;
  State* state = nullptr;  // of the threads, while it is known
  for (size_t pos = 0;; ++pos) {
    if (simulation.threads.empty()) {
      if (onlyAtStart_ && (pos > 0 || !subject.starts_with(prefix_))) return false;
      const size_t begin = nextBegin(subject, pos);
      if (hasWordBoundary_ && begin > pos) state = nullptr;  // another byte stands before
      pos = begin;
    } else {
      pos = moveThreads(state, subject, pos, found);
    }
    Transition& transition = transitionAt(state, subject, pos, found.has_value());
    if (transition.isMatch) found = matchOf(transition, simulation.threads, pos);
    advance(simulation, transition, pos);
    if (pos == subject.size() || (found && simulation.threads.empty())) {
      if (found) match = *found;
      return found.has_value();
    }
    const bool isCached = &transition != &simulation.transition;
    if (isCached && transition.next == nullptr) {
      transition.next = stateOf(simulation.threads, found.has_value(), subject[pos]);
    }
    state = isCached ? transition.next : nullptr;
  }
}

// Whether a match from the instruction `start` on begins at `pos` and, for `whole`, ends with the subject.
bool RegexMachine::matchesAt(size_t depth, uint32_t start, std::string_view subject, size_t pos, bool whole) {
  Simulation& simulation = simulations_[depth];
  simulation.threads.clear();
  for (; pos <= subject.size(); ++pos, start = kNone) {
    makeTransition(simulation, start, subject, pos, whole);
    if (simulation.transition.isMatch) return true;
    advance(simulation, simulation.transition, pos);
    if (simulation.threads.empty()) return false;
  }
  return false;
}

// The transition over the byte at `pos`, from the cache if it can be there. The first and the last depend on where they
// are, the others on the state and the byte.
RegexMachine::Transition& RegexMachine::transitionAt(State*& state, std::string_view subject, size_t pos, bool found) {
  Simulation& simulation = simulations_[0];
  std::unique_ptr<Transition>* cached = nullptr;
  if (pos > 0 && pos < subject.size() && mayCache(state)) {
    if (state == nullptr) state = stateOf(simulation.threads, found, subject[pos - 1]);
    cached = &state->transitions[classOf_[static_cast<unsigned char>(subject[pos])]];
    if (*cached != nullptr) return **cached;
  }
  const bool begins = pos == 0 || (!found && mayBegin(subject, pos));
  makeTransition(simulation, begins ? start_ : kNone, subject, pos, false);
  if (cached == nullptr || simulation.lookedFar) return simulation.transition;
  cachedSize_ += sizeof(Transition) + simulation.transition.successors.size() * sizeof(Successor);
  *cached = std::make_unique<Transition>(simulation.transition);
  return **cached;
}

// Follows the threads, and a new one from `start` on, over the byte at `pos`.
void RegexMachine::makeTransition(Simulation& simulation, uint32_t start, std::string_view subject, size_t pos,
                                  bool whole) {
  Transition& transition = simulation.transition;
  transition.successors.clear();
  transition.isMatch = false;
  simulation.lookedFar = false;
  simulation.reached.clear();
  ++simulation.round;
  for (size_t i = 0; i < simulation.threads.size(); ++i) {
    follow(simulation, {.at = simulation.threads[i].at, .source = static_cast<uint32_t>(i)}, subject, pos);
  }
  if (start != kNone) follow(simulation, {.at = start, .source = kNone}, subject, pos);
  ++simulation.round;
  for (const Successor& reached : simulation.reached) {
    const Instruction& instruction = code_[reached.at];
    if (instruction.type == Instruction::Type::kMatch) {
      if (whole && pos < subject.size()) continue;
      transition.match = reached;
      transition.isMatch = true;
      break;  // the threads below count no more
    }
    if (pos < subject.size() && instruction.bytes[static_cast<unsigned char>(subject[pos])] &&
        std::exchange(simulation.marks[instruction.next], simulation.round) != simulation.round) {
      transition.successors.push_back(reached);
      transition.successors.back().at = instruction.next;
    }
  }
  transition.keepsSpans = keepsSpans(simulation);
}

// Adds to what is reached the byte and match instructions to which `successor` leads without taking a byte.
void RegexMachine::follow(Simulation& simulation, Successor successor, std::string_view subject, size_t pos) {
  using Type = Instruction::Type;
  for (Successor current = successor;;) {
    while (std::exchange(simulation.marks[current.at], simulation.round) != simulation.round) {
      const Instruction& instruction = code_[current.at];
      if (instruction.type == Type::kByte || instruction.type == Type::kMatch) {
        simulation.reached.push_back(current);
        break;
      }
      if (instruction.type == Type::kSplit) {
        simulation.open.push_back(current);
        simulation.open.back().at = instruction.other;
      } else if (instruction.type == Type::kGroupBegin) {
        current.beginsGroup = true;
      } else if (instruction.type == Type::kGroupEnd) {
        current.endsGroup = true;
      } else if (instruction.type == Type::kGroupClear) {
        current.clearsGroup = true;
        current.beginsGroup = current.endsGroup = false;
      } else if (!holds(simulation, instruction, subject, pos)) {
        break;
      }
      current.at = instruction.next;
    }
    if (simulation.open.empty()) return;
    current = simulation.open.back();
    simulation.open.pop_back();
  }
}

bool RegexMachine::holds(Simulation& simulation, const Instruction& assertion, std::string_view subject, size_t pos) {
  switch (assertion.assertion) {
    case Kind::kLineStart:
      return pos == 0;
    case Kind::kLineEnd:
      return pos == subject.size();
    case Kind::kWordBoundary:
      return IsAtWordBoundary(subject, pos);
    case Kind::kNotWordBoundary:
      return !IsAtWordBoundary(subject, pos);
    default: {
      const bool isWanted = assertion.assertion == Kind::kLookAhead;
      if (pos < subject.size() && !assertion.bytes[static_cast<unsigned char>(subject[pos])]) return !isWanted;
      simulation.lookedFar = simulation.lookedFar || assertion.looksFar;
      return matchesAt(assertion.depth, assertion.other, subject, pos, false) == isWanted;
    }
  }
}

RegexSpan RegexMachine::spanOf(const Successor& successor, const std::vector<Thread>& threads, size_t pos) {
  RegexSpan span = successor.source == kNone ? RegexSpan{.begin = pos} : threads[successor.source].span;
  if (successor.clearsGroup) span.groupBegin = span.groupEnd = RegexSpan::kUnset;
  if (successor.beginsGroup) span.groupBegin = pos;
  if (successor.endsGroup) span.groupEnd = pos;
  return span;
}

RegexSpan RegexMachine::matchOf(const Transition& transition, const std::vector<Thread>& threads, size_t pos) {
  RegexSpan match = spanOf(transition.match, threads, pos);
  match.end = pos;
  return match;
}

bool RegexMachine::keepsSpans(const Simulation& simulation) {
  const std::vector<Successor>& successors = simulation.transition.successors;
  if (successors.empty() || successors.size() != simulation.threads.size()) return false;
  for (size_t i = 0; i < successors.size(); ++i) {
    const Successor& to = successors[i];
    if (to.source != i || to.clearsGroup || to.beginsGroup || to.endsGroup) return false;
  }
  return true;
}

// Follows cached transitions as long as no span changes. Returns the place that is reached, and the last match on the
// way.
size_t RegexMachine::moveThreads(State*& state, std::string_view subject, size_t pos, std::optional<RegexSpan>& found) {
  std::vector<Thread>& threads = simulations_[0].threads;
  const Transition* last = nullptr;
  for (; state != nullptr && pos < subject.size(); ++pos) {
    const Transition* next = state->transitions[classOf_[static_cast<unsigned char>(subject[pos])]].get();
    if (next == nullptr || !next->keepsSpans || next->next == nullptr) break;
    if (next->isMatch) found = matchOf(*next, threads, pos);
    last = next;
    state = next->next;
  }
  if (last != nullptr) moveTo(*last, threads);
  return pos;
}

// REQUIRES: the transition keeps spans.
void RegexMachine::moveTo(const Transition& transition, std::vector<Thread>& threads) {
  for (size_t i = 0; i < threads.size(); ++i) threads[i].at = transition.successors[i].at;
}

void RegexMachine::advance(Simulation& simulation, const Transition& transition, size_t pos) {
  if (transition.keepsSpans) return moveTo(transition, simulation.threads);
  simulation.next.clear();
  for (const Successor& successor : transition.successors) {
    simulation.next.push_back({successor.at, spanOf(successor, simulation.threads, pos)});
  }
  std::swap(simulation.threads, simulation.next);
}

// False when the cache is of no use. Makes room in it; `state` is null when it was among what is gone.
bool RegexMachine::mayCache(State*& state) {
  if (caches_ && cachedSize_ > kMaxCached) {
    caches_ = ++timesFull_ < kMaxTimesFull;
    states_.clear();
    cachedSize_ = 0;
    state = nullptr;
  }
  return caches_ && searches_ == kSearchesUncached;
}

// The cached state of the threads behind the byte `before`.
RegexMachine::State* RegexMachine::stateOf(const std::vector<Thread>& threads, bool found, char before) {
  const bool isBehindWord = hasWordBoundary_ && IsWordByte(before);
  std::vector<uint32_t> key = {static_cast<uint32_t>(found), static_cast<uint32_t>(isBehindWord)};
  for (const Thread& thread : threads) key.push_back(thread.at);
  const auto [state, isNew] = states_.try_emplace(std::move(key));
  if (isNew) {
    state->second.transitions.resize(classCount_);
    cachedSize_ += sizeof(State) + state->first.size() * sizeof(uint32_t) + classCount_ * sizeof(Transition*);
  }
  return &state->second;
}
