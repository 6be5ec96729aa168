#ifndef UTIL_REGEX_MACHINE_H
#define UTIL_REGEX_MACHINE_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "util/regex_tree.h"

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
// the subject's length, and memory depends on the expression alone. Not for several threads at once.
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

  bool search(std::string_view subject, RegexSpan& match) { return run(main_, start_, subject, 0, kAnywhere, match); }

  // True when the expression takes the whole subject.
  bool matchesWhole(std::string_view subject);

 private:
  enum Mode { kAnywhere, kHere, kWhole };
  struct Instruction;
  struct Thread {
    uint32_t at;
    RegexSpan span;
  };
  // The ways that are followed, by rank: one that is reached first wins.
  struct Ways {
    std::vector<Thread> now;
    std::vector<Thread> next;
    std::vector<Thread> open;
    std::vector<uint64_t> marks;  // per instruction, the round that visited it last
    uint64_t round = 0;
  };

  uint32_t add(const Instruction& instruction);
  uint32_t build(const RegexNode& node, uint32_t next);
  uint32_t buildRepeat(const RegexNode& node, uint32_t next);
  void findFirstBytes();
  std::vector<uint32_t> reachedFromStart(bool lineStartIsMet) const;

  bool mayBegin(std::string_view subject, size_t pos) const;
  bool run(Ways& ways, uint32_t start, std::string_view subject, size_t from, Mode mode, RegexSpan& match);
  void follow(Ways& ways, std::vector<Thread>& threads, Thread thread, std::string_view subject, size_t pos);
  bool isMet(const Instruction& condition, std::string_view subject, size_t pos);

  std::vector<Instruction> code_;
  uint32_t start_ = 0;
  bool isLinear_ = true;
  bool onlyAtStart_ = false;  // every match begins where the subject does
  ByteSet firstBytes_;        // that a match may begin with; all when it may be empty
  Ways main_;
  Ways ahead_;  // of a look-ahead, which holds no other
};

#endif  // UTIL_REGEX_MACHINE_H
