#ifndef REGEX_REGEX_MACHINE_H
#define REGEX_REGEX_MACHINE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
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

// Searches for the match that ECMAScript asks for: the leftmost one and, of those, the one that a search which tries
// earlier branches first, and loops as long (or as short) as they like, comes upon first. All ways are followed at
// once, byte by byte, each place of the expression at most once per byte: time is at most the expression's size times
// the subject's length, and memory depends on the expression alone. How the ways go on from a state over a byte is
// kept, up to a megabyte of it, so that mostly it need only be looked up. Not for several threads at once.
class RegexMachine {
 public:
  // False for a tree that this machine does not search: with back-references, and where the standard libraries take
  // different ways (a loop over what may be empty, a group that not every round of its loop sets).
  static bool canSearch(const RegexTree& tree);

  // REQUIRES: canSearch(tree).
  explicit RegexMachine(const RegexTree& tree);
  ~RegexMachine();

  // True when time is as promised for subjects of any length: no look-ahead looks ahead without bound.
  bool isLinear() const { return isLinear_; }

  bool search(std::string_view subject, RegexSpan& match) { return run(*main_, start_, subject, 0, kAnywhere, match); }

  // Bytes held, about.
  size_t memory() const;

  // True when the expression takes the whole subject.
  bool matchesWhole(std::string_view subject);

 private:
  enum Mode { kAnywhere, kHere, kWhole };
  struct Instruction;
  // A way to go on with the search: the instruction that is next, and what the way has taken so far.
  struct Way {
    uint32_t at;
    RegexSpan span;
  };
  struct Move;
  struct Step;
  struct State;
  struct Ways;

  uint32_t add(const Instruction& instruction);
  uint32_t build(const RegexNode& node, uint32_t next);
  uint32_t buildRepeat(const RegexNode& node, uint32_t next);
  ByteSet firstBytesFrom(uint32_t start) const;
  void chooseClasses();
  std::vector<uint32_t> reachedFrom(uint32_t start, bool lineStartIsMet) const;

  bool mayBegin(std::string_view subject, size_t pos) const;
  bool run(Ways& ways, uint32_t start, std::string_view subject, size_t from, Mode mode, RegexSpan& match);
  void makeStep(Ways& ways, uint32_t start, std::string_view subject, size_t pos, Mode mode, Step& step);
  void follow(Ways& ways, Move move, std::string_view subject, size_t pos);
  static RegexSpan spanOf(const Move& move, const std::vector<Way>& ways, size_t pos);
  bool mayKeepSteps(State*& state);
  std::unique_ptr<Step> keptCopy(const Step& step);
  State* stateOf(const std::vector<Way>& ways, bool found, char before);
  bool isMet(Ways& ways, const Instruction& condition, std::string_view subject, size_t pos);

  std::vector<Instruction> code_;
  uint32_t start_ = 0;
  bool isLinear_ = true;
  bool onlyAtStart_ = false;  // every match begins where the subject does
  ByteSet firstBytes_;        // that a match may begin with; all when it may be empty
  bool hasWordEdge_ = false;
  std::unique_ptr<Ways> main_;
  std::unique_ptr<Ways> ahead_;  // of a look-ahead, which holds no other

  // Steps from the states that the search has been in. A state is the list of its ways' next instructions, with what
  // else decides how they go on; only where the ways come from is new each time.
  bool keepsSteps_ = true;
  std::array<uint8_t, 256> classOf_{};
  size_t classCount_ = 0;
  std::map<std::vector<uint32_t>, State> states_;
  size_t keptSize_ = 0;
  int timesFull_ = 0;
};

#endif  // REGEX_REGEX_MACHINE_H
