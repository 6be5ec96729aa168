#include "regex/regex_machine.h"

#include <algorithm>
#include <utility>

#include "regex/byte_classes.h"

namespace {

using Kind = RegexNode::Kind;

constexpr uint32_t kNoWay = UINT32_MAX;
constexpr size_t kMaxKept = 1024 * 1024;  // bytes of kept steps and states, about; past that all are forgotten...
constexpr int kMaxTimesFull = 16;         // ...and after so many times no more are kept

bool IsNullable(const RegexNode& node) {
  switch (node.kind) {
    case Kind::kByte:
      return false;
    case Kind::kSequence:
    case Kind::kFirstGroup:
      return std::all_of(node.parts.begin(), node.parts.end(), IsNullable);
    case Kind::kChoice:
      return std::any_of(node.parts.begin(), node.parts.end(), IsNullable);
    case Kind::kRepeat:
      return node.min == 0 || IsNullable(node.parts[0]);
    default:
      return true;
  }
}

template <typename Predicate>
bool Holds(const RegexNode& node, Predicate is) {
  return is(node) ||
         std::any_of(node.parts.begin(), node.parts.end(), [is](const RegexNode& part) { return Holds(part, is); });
}

bool IsFirstGroup(const RegexNode& node) { return node.kind == Kind::kFirstGroup; }

bool IsEndless(const RegexNode& node) { return node.kind == Kind::kRepeat && node.max == RegexNode::kUnbounded; }

// Whether whatever the node takes sets the first group.
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

bool IsLookAhead(const RegexNode& node) { return node.kind == Kind::kAhead || node.kind == Kind::kNotAhead; }

// Whether the byte behind a place decides if the node takes any text there.
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

bool CanSearch(const RegexNode& node) {
  if (node.kind == Kind::kBackReference) return false;
  if (node.kind == Kind::kRepeat) {
    const RegexNode& body = node.parts[0];
    if (IsNullable(body) || (Holds(body, IsFirstGroup) && !AlwaysSetsGroup(body))) return false;
  }
  // The libraries let what looks ahead see nothing of what stands before it.
  if (IsLookAhead(node) && Holds(node.parts[0], [](const RegexNode& part) {
        return IsLookAhead(part) || IsFirstGroup(part) || part.kind == Kind::kLineStart ||
               part.kind == Kind::kWordEdge || part.kind == Kind::kNoWordEdge;
      })) {
    return false;
  }
  return std::all_of(node.parts.begin(), node.parts.end(), CanSearch);
}

bool IsWordByte(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsAtWordEdge(std::string_view subject, size_t pos) {
  const bool before = pos > 0 && IsWordByte(subject[pos - 1]);
  const bool behind = pos < subject.size() && IsWordByte(subject[pos]);
  return before != behind;
}

}  // namespace

struct RegexMachine::Instruction {
  enum class Type { kByte, kSplit, kGroupBegin, kGroupEnd, kCondition, kMatch };
  Type type;
  uint32_t next = 0;   // the preferred way of a split
  uint32_t other = 0;  // the other way of a split; where the content of a look-ahead begins
  Kind condition = Kind::kLineStart;
  ByteSet bytes = {};     // that may be taken; of a look-ahead, that its content may begin with
  bool looksFar = false;  // more than the next byte may decide about the look-ahead
};

// How a way goes on over a byte. Its span is that of the way it comes from, but for what begins or ends before the
// byte.
struct RegexMachine::Move {
  uint32_t at;
  uint32_t source;  // index of a way, or kNoWay for one that begins
  bool groupBegins = false;
  bool groupEnds = false;
};

struct RegexMachine::Step {
  std::vector<Move> moves = {};
  bool isMatch = false;
  Move match = {};
  State* next = nullptr;  // null when it is not known yet
};

struct RegexMachine::State {
  std::vector<std::unique_ptr<Step>> steps;  // per class of bytes, null when it is not made yet
};

// The ways that are followed, by rank: one that is reached first wins.
struct RegexMachine::Ways {
  std::vector<Way> now = {};
  std::vector<Way> next = {};
  std::vector<Move> open = {};
  std::vector<Move> reached = {};
  Step step = {};
  bool lookedFar = false;            // the step depends on more than its state and byte
  std::vector<uint64_t> marks = {};  // per instruction, the round that visited it last
  uint64_t round = 0;
};

bool RegexMachine::canSearch(const RegexTree& tree) { return CanSearch(tree.root); }

RegexMachine::RegexMachine(const RegexTree& tree) : main_(std::make_unique<Ways>()), ahead_(std::make_unique<Ways>()) {
  start_ = build(tree.root, add({.type = Instruction::Type::kMatch}));
  main_->marks.resize(code_.size());
  ahead_->marks.resize(code_.size());
  onlyAtStart_ = reachedFrom(start_, false).empty();
  firstBytes_ = firstBytesFrom(start_);
  chooseClasses();
}

RegexMachine::~RegexMachine() = default;

size_t RegexMachine::memory() const { return sizeof(*this) + code_.size() * sizeof(Instruction) + keptSize_; }

bool RegexMachine::matchesWhole(std::string_view subject) {
  RegexSpan match;
  return run(*main_, start_, subject, 0, kWhole, match);
}

uint32_t RegexMachine::add(const Instruction& instruction) {
  code_.push_back(instruction);
  return static_cast<uint32_t>(code_.size() - 1);
}

// Builds the instructions of a node in front of the instruction `next` and returns the first of them.
uint32_t RegexMachine::build(const RegexNode& node, uint32_t next) {
  using Type = Instruction::Type;
  switch (node.kind) {
    case Kind::kByte:
      return add({.type = Type::kByte, .next = next, .bytes = node.bytes});
    case Kind::kSequence:
      for (size_t i = node.parts.size(); i > 0; --i) next = build(node.parts[i - 1], next);
      return next;
    case Kind::kChoice: {
      uint32_t entry = build(node.parts.back(), next);
      for (size_t i = node.parts.size() - 1; i > 0; --i) {
        entry = add({.type = Type::kSplit, .next = build(node.parts[i - 1], next), .other = entry});
      }
      return entry;
    }
    case Kind::kRepeat:
      return buildRepeat(node, next);
    case Kind::kFirstGroup: {
      const uint32_t content = build(node.parts[0], add({.type = Type::kGroupEnd, .next = next}));
      return add({.type = Type::kGroupBegin, .next = content});
    }
    default: {
      if (!IsLookAhead(node)) return add({.type = Type::kCondition, .next = next, .condition = node.kind});
      isLinear_ = isLinear_ && !Holds(node.parts[0], IsEndless);
      const uint32_t content = build(node.parts[0], add({.type = Type::kMatch}));
      return add({.type = Type::kCondition,
                  .next = next,
                  .other = content,
                  .condition = node.kind,
                  .bytes = firstBytesFrom(content),
                  .looksFar = !IsDecidedByOneByte(node.parts[0])});
    }
  }
}

uint32_t RegexMachine::buildRepeat(const RegexNode& node, uint32_t next) {
  const RegexNode& body = node.parts[0];
  const auto addSplit = [&](uint32_t round) {
    return add(
        {.type = Instruction::Type::kSplit, .next = node.lazy ? next : round, .other = node.lazy ? round : next});
  };
  uint32_t entry = next;
  if (node.max == RegexNode::kUnbounded) {
    entry = addSplit(0);
    const uint32_t round = build(body, entry);
    (node.lazy ? code_[entry].other : code_[entry].next) = round;
  } else {
    for (int i = node.min; i < node.max; ++i) entry = addSplit(build(body, entry));
  }
  for (int i = 0; i < node.min; ++i) entry = build(body, entry);
  return entry;
}

void RegexMachine::chooseClasses() {
  std::unordered_set<ByteSet> sets;
  for (const Instruction& instruction : code_) {
    sets.insert(instruction.bytes);
    hasWordEdge_ =
        hasWordEdge_ || instruction.condition == Kind::kWordEdge || instruction.condition == Kind::kNoWordEdge;
  }
  if (hasWordEdge_) {
    ByteSet wordBytes;
    for (size_t b = 0; b < wordBytes.size(); ++b) wordBytes[b] = IsWordByte(static_cast<char>(b));
    sets.insert(wordBytes);
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

// What takes the first byte or ends the match, every condition but "^" met.
std::vector<uint32_t> RegexMachine::reachedFrom(uint32_t start, bool lineStartIsMet) const {
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
    } else if (lineStartIsMet || instruction.type != Instruction::Type::kCondition ||
               instruction.condition != Kind::kLineStart) {
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

bool RegexMachine::run(Ways& ways, uint32_t start, std::string_view subject, size_t from, Mode mode, RegexSpan& match) {
  bool found = false;
  State* state = nullptr;  // that the ways are in, while it is known
  ways.now.clear();
  for (size_t pos = from;; ++pos) {
    if (mode == kAnywhere && ways.now.empty() && !found) {
      if (onlyAtStart_ && pos > 0) return false;
      const size_t idleFrom = pos;
      while (pos < subject.size() && !mayBegin(subject, pos)) ++pos;
      if (hasWordEdge_ && pos > idleFrom) state = nullptr;  // what stands before may be another byte
    }
    const auto make = [&](Step& step) {
      const bool begins = pos == from || (mode == kAnywhere && !found && mayBegin(subject, pos));
      makeStep(ways, begins ? start : kNoWay, subject, pos, mode, step);
    };
    Step* step = &ways.step;
    // The first step and the last depend on where they are, a kept one on its state and byte only.
    bool isKept = mode == kAnywhere && pos > 0 && pos < subject.size() && mayKeepSteps(state);
    if (isKept) {
      if (state == nullptr) state = stateOf(ways.now, found, subject[pos - 1]);
      std::unique_ptr<Step>& known = state->steps[classOf_[static_cast<unsigned char>(subject[pos])]];
      if (known == nullptr) {
        make(*step);
        isKept = !ways.lookedFar;
        if (isKept) known = keptCopy(*step);
      }
      if (isKept) step = known.get();
    } else {
      make(*step);
    }
    if (step->isMatch) {
      match = spanOf(step->match, ways.now, pos);
      match.end = pos;
      found = true;
    }
    ways.next.clear();
    for (const Move& move : step->moves) ways.next.push_back({move.at, spanOf(move, ways.now, pos)});
    std::swap(ways.now, ways.next);
    if (pos == subject.size() || (ways.now.empty() && (found || mode != kAnywhere))) return found;
    if (isKept && step->next == nullptr) step->next = stateOf(ways.now, found, subject[pos]);
    state = isKept ? step->next : nullptr;
  }
}

// Follows the ways, and a new one from `start` on, over the byte at `pos`.
void RegexMachine::makeStep(Ways& ways, uint32_t start, std::string_view subject, size_t pos, Mode mode, Step& step) {
  step.moves.clear();
  step.isMatch = false;
  ways.lookedFar = false;
  ways.reached.clear();
  ++ways.round;
  for (size_t i = 0; i < ways.now.size(); ++i) {
    follow(ways, {.at = ways.now[i].at, .source = static_cast<uint32_t>(i)}, subject, pos);
  }
  if (start != kNoWay) follow(ways, {.at = start, .source = kNoWay}, subject, pos);
  ++ways.round;
  for (const Move& move : ways.reached) {
    const Instruction& instruction = code_[move.at];
    if (instruction.type == Instruction::Type::kMatch) {
      if (mode == kWhole && pos < subject.size()) continue;
      step.match = move;
      step.isMatch = true;
      return;  // the ways behind rank lower
    }
    if (pos < subject.size() && instruction.bytes[static_cast<unsigned char>(subject[pos])] &&
        std::exchange(ways.marks[instruction.next], ways.round) != ways.round) {
      step.moves.push_back(move);
      step.moves.back().at = instruction.next;
    }
  }
}

// Adds to what is reached all that `move` leads to without taking a byte.
void RegexMachine::follow(Ways& ways, Move move, std::string_view subject, size_t pos) {
  using Type = Instruction::Type;
  ways.open.push_back(move);
  while (!ways.open.empty()) {
    Move current = ways.open.back();
    ways.open.pop_back();
    while (std::exchange(ways.marks[current.at], ways.round) != ways.round) {
      const Instruction& instruction = code_[current.at];
      if (instruction.type == Type::kByte || instruction.type == Type::kMatch) {
        ways.reached.push_back(current);
        break;
      }
      if (instruction.type == Type::kSplit) {
        ways.open.push_back(current);
        ways.open.back().at = instruction.other;
      } else if (instruction.type == Type::kGroupBegin) {
        current.groupBegins = true;
      } else if (instruction.type == Type::kGroupEnd) {
        current.groupEnds = true;
      } else if (!isMet(ways, instruction, subject, pos)) {
        break;
      }
      current.at = instruction.next;
    }
  }
}

RegexSpan RegexMachine::spanOf(const Move& move, const std::vector<Way>& ways, size_t pos) {
  RegexSpan span = move.source == kNoWay ? RegexSpan{.begin = pos} : ways[move.source].span;
  if (move.groupBegins) span.groupBegin = pos;
  if (move.groupEnds) span.groupEnd = pos;
  return span;
}

// False when steps are not worth keeping. Makes room for them; `state` is null when it was among what is gone.
bool RegexMachine::mayKeepSteps(State*& state) {
  if (keepsSteps_ && keptSize_ > kMaxKept) {
    keepsSteps_ = ++timesFull_ < kMaxTimesFull;
    states_.clear();
    keptSize_ = 0;
    state = nullptr;
  }
  return keepsSteps_;
}

std::unique_ptr<RegexMachine::Step> RegexMachine::keptCopy(const Step& step) {
  keptSize_ += sizeof(Step) + step.moves.size() * sizeof(Move);
  return std::make_unique<Step>(step);
}

// The state of the ways behind the byte `before`.
RegexMachine::State* RegexMachine::stateOf(const std::vector<Way>& ways, bool found, char before) {
  std::vector<uint32_t> key = {static_cast<uint32_t>(found), static_cast<uint32_t>(hasWordEdge_ && IsWordByte(before))};
  for (const Way& way : ways) key.push_back(way.at);
  const auto [state, isNew] = states_.try_emplace(std::move(key));
  if (isNew) {
    state->second.steps.resize(classCount_);
    keptSize_ += sizeof(State) + state->first.size() * sizeof(uint32_t) + state->second.steps.size() * sizeof(Step*);
  }
  return &state->second;
}

bool RegexMachine::isMet(Ways& ways, const Instruction& condition, std::string_view subject, size_t pos) {
  switch (condition.condition) {
    case Kind::kLineStart:
      return pos == 0;
    case Kind::kLineEnd:
      return pos == subject.size();
    case Kind::kWordEdge:
      return IsAtWordEdge(subject, pos);
    case Kind::kNoWordEdge:
      return !IsAtWordEdge(subject, pos);
    default: {
      const bool isWanted = condition.condition == Kind::kAhead;
      if (pos < subject.size() && !condition.bytes[static_cast<unsigned char>(subject[pos])]) return !isWanted;
      ways.lookedFar = ways.lookedFar || condition.looksFar;
      RegexSpan match;
      return run(*ahead_, condition.other, subject, pos, kHere, match) == isWanted;
    }
  }
}
