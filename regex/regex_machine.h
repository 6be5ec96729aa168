#ifndef REGEX_REGEX_MACHINE_H
#define REGEX_REGEX_MACHINE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "regex/regex_tree.h"

// Where a match lies in its subject, and where its first group does.
struct RegexSpan {
  static constexpr size_t kUnset = std::string_view::npos;

  size_t begin = 0;
  size_t end = 0;
  size_t groupBegin = kUnset;
  size_t groupEnd = kUnset;
};

// Finds the match that a backtracking ECMAScript engine would find: the leftmost one, earlier alternatives first, loops
// greedy or lazy as written. It simulates the expression's NFA byte by byte, so that a search takes at most the
// expression's size times the subject's length, and memory does not depend on the subject. Transitions between sets of
// NFA states are cached, up to a megabyte. Not for several threads at once.
class RegexMachine {
 public:
  // REQUIRES: the tree comes from a reading that is searchable (see ReadRegex).
  explicit RegexMachine(const RegexTree& tree);
  ~RegexMachine();

  // True when time is as promised for subjects of any length: no look-ahead has an endless loop.
  bool isLinear() const { return isLinear_; }

  // True when every match begins with a text of some length, to which a search jumps.
  bool jumps() const { return prefix_.size() >= kLongPrefix; }

  bool search(std::string_view subject, RegexSpan& match);

  // Bytes held, about.
  size_t memory() const;

  // True when the expression takes the whole subject.
  bool matchesWhole(std::string_view subject) { return matchesAt(0, start_, subject, 0, true); }

 private:
  static constexpr size_t kLongPrefix = 4;  // bytes

  struct Instruction;
  // A thread of the simulation: the instruction to execute next, and what it has matched so far.
  struct Thread {
    uint32_t at;
    RegexSpan span;
  };
  struct Successor;
  struct Transition;
  struct State;
  struct Simulation;
  // Where to go on behind a part of the expression that has taken bytes, and behind one that has taken none.
  struct Exits {
    uint32_t taken;
    uint32_t empty;
  };

  uint32_t add(const Instruction& instruction);
  uint32_t build(const RegexNode& node, Exits exits);
  uint32_t buildSequence(const RegexNode& node, Exits exits);
  uint32_t buildRepeat(const RegexNode& node, Exits exits);
  Exits buildRounds(const RegexNode& loop, Exits exits);
  uint32_t buildRound(const RegexNode& loop, Exits exits);
  uint32_t addSplit(const RegexNode& loop, uint32_t round, uint32_t exit);
  uint32_t buildAssertion(const RegexNode& node, uint32_t next);
  ByteSet firstBytesFrom(uint32_t start) const;
  void chooseClasses();
  std::vector<uint32_t> reachedFrom(uint32_t start, bool lineStartHolds) const;

  bool mayBegin(std::string_view subject, size_t pos) const;
  size_t nextBegin(std::string_view subject, size_t pos) const;
  bool matchesAt(size_t depth, uint32_t start, std::string_view subject, size_t pos, bool whole);
  Transition& transitionAt(State*& state, std::string_view subject, size_t pos, bool found);
  void makeTransition(Simulation& simulation, uint32_t start, std::string_view subject, size_t pos, bool whole);
  void follow(Simulation& simulation, Successor successor, std::string_view subject, size_t pos);
  bool holds(Simulation& simulation, const Instruction& assertion, std::string_view subject, size_t pos);
  static RegexSpan spanOf(const Successor& successor, const std::vector<Thread>& threads, size_t pos);
  static RegexSpan matchOf(const Transition& transition, const std::vector<Thread>& threads, size_t pos);
  static bool keepsSpans(const Simulation& simulation);
  size_t moveThreads(State*& state, std::string_view subject, size_t pos, std::optional<RegexSpan>& found);
  static void moveTo(const Transition& transition, std::vector<Thread>& threads);
  static void advance(Simulation& simulation, const Transition& transition, size_t pos);
  bool mayCache(State*& state);
  State* stateOf(const std::vector<Thread>& threads, bool found, char before);

  std::vector<Instruction> code_;
  uint32_t start_ = 0;
  size_t depth_ = 0;  // of look-aheads around what is being built
  bool isLinear_ = true;
  bool onlyAtStart_ = false;  // every match begins where the subject does
  std::string prefix_;        // that every match begins with
  ByteSet firstBytes_;        // that a match may begin with; all when it may be empty
  bool hasWordBoundary_ = false;
  std::vector<Simulation> simulations_;  // of the expression, and of look-aheads by their depth

  // The cache of transitions. A cached state is the ordered list of the threads' instructions and what else a
  // transition depends on; the spans are carried outside it.
  bool caches_ = true;
  std::array<uint8_t, 256> classOf_{};
  size_t classCount_ = 0;
  std::map<std::vector<uint32_t>, State> states_;
  size_t cachedSize_ = 0;
  int timesFull_ = 0;
  int searches_ = 0;  // the first few are made without the cache
};

#endif  // REGEX_REGEX_MACHINE_H
