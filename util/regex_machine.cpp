#include "util/regex_machine.h"

#include <algorithm>
#include <utility>

namespace {

using Kind = RegexNode::Kind;

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
  ByteSet bytes = {};
};

bool RegexMachine::canSearch(const RegexTree& tree) { return CanSearch(tree.root); }

RegexMachine::RegexMachine(const RegexTree& tree) {
  start_ = build(tree.root, add({.type = Instruction::Type::kMatch}));
  main_.marks.resize(code_.size());
  ahead_.marks.resize(code_.size());
  findFirstBytes();
}

RegexMachine::~RegexMachine() = default;

bool RegexMachine::matchesWhole(std::string_view subject) {
  RegexSpan match;
  return run(main_, start_, subject, 0, kWhole, match);
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
      uint32_t content = 0;
      if (IsLookAhead(node)) {
        isLinear_ = isLinear_ && !Holds(node.parts[0], IsEndless);
        content = build(node.parts[0], add({.type = Type::kMatch}));
      }
      return add({.type = Type::kCondition, .next = next, .other = content, .condition = node.kind});
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

void RegexMachine::findFirstBytes() {
  onlyAtStart_ = reachedFromStart(false).empty();
  for (const uint32_t at : reachedFromStart(true)) {
    if (code_[at].type == Instruction::Type::kMatch) firstBytes_.set();
    firstBytes_ |= code_[at].bytes;
  }
}

// What takes the first byte or ends the match, every condition but "^" met.
std::vector<uint32_t> RegexMachine::reachedFromStart(bool lineStartIsMet) const {
  std::vector<uint32_t> reached;
  std::vector<bool> known(code_.size());
  std::vector<uint32_t> open = {start_};
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
  ways.now.clear();
  ++ways.round;
  for (size_t pos = from;; ++pos) {
    if (mode == kAnywhere && ways.now.empty() && !found) {
      if (onlyAtStart_ && pos > 0) return false;
      while (pos < subject.size() && !mayBegin(subject, pos)) ++pos;
      ++ways.round;  // what was visited at an earlier place was visited for that place
    }
    if (pos == from || (mode == kAnywhere && !found && mayBegin(subject, pos))) {
      follow(ways, ways.now, {start, {.begin = pos}}, subject, pos);
    }
    if (ways.now.empty() && (found || mode != kAnywhere)) return found;
    ways.next.clear();
    ++ways.round;
    for (const Thread& thread : ways.now) {
      const Instruction& instruction = code_[thread.at];
      if (instruction.type == Instruction::Type::kMatch) {
        if (mode == kWhole && pos < subject.size()) continue;
        match = thread.span;
        match.end = pos;
        found = true;
        break;  // the ways behind rank lower
      }
      if (pos < subject.size() && instruction.bytes[static_cast<unsigned char>(subject[pos])]) {
        follow(ways, ways.next, {instruction.next, thread.span}, subject, pos + 1);
      }
    }
    if (pos == subject.size()) return found;
    std::swap(ways.now, ways.next);
  }
}

// Adds to `threads` what `thread` leads to without taking a byte.
void RegexMachine::follow(Ways& ways, std::vector<Thread>& threads, Thread thread, std::string_view subject,
                          size_t pos) {
  using Type = Instruction::Type;
  ways.open.push_back(thread);
  while (!ways.open.empty()) {
    Thread current = ways.open.back();
    ways.open.pop_back();
    while (std::exchange(ways.marks[current.at], ways.round) != ways.round) {
      const Instruction& instruction = code_[current.at];
      if (instruction.type == Type::kByte || instruction.type == Type::kMatch) {
        threads.push_back(current);
        break;
      }
      if (instruction.type == Type::kSplit) {
        ways.open.push_back({instruction.other, current.span});
      } else if (instruction.type == Type::kGroupBegin) {
        current.span.groupBegin = pos;
      } else if (instruction.type == Type::kGroupEnd) {
        current.span.groupEnd = pos;
      } else if (!isMet(instruction, subject, pos)) {
        break;
      }
      current.at = instruction.next;
    }
  }
}

bool RegexMachine::isMet(const Instruction& condition, std::string_view subject, size_t pos) {
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
      RegexSpan match;
      return run(ahead_, condition.other, subject, pos, kHere, match) == (condition.condition == Kind::kAhead);
    }
  }
}
