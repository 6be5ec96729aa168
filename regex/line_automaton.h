#ifndef REGEX_LINE_AUTOMATON_H
#define REGEX_LINE_AUTOMATON_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "regex/regex_tree.h"

// One automaton for any number of patterns, searched for anywhere in a line. A pattern takes every line that its
// expression takes, and perhaps a few more: look-ahead and word boundaries count as met, back-references take any text,
// and a class takes all bytes from 128, which belong to it by the locale where std::regex has the last word. Its
// deterministic states are built when the text first leads to them, up to a limit of memory; past that limit it answers
// "may match", which is always allowed. Searching is linear in the length of the text and needs no stack. Not for
// several threads at once.
class LineAutomaton {
 public:
  // `maxTableSize`: bytes of the transition tables.
  LineAutomaton(const std::vector<RegexNode>& patterns, size_t maxTableSize);
  ~LineAutomaton();
  LineAutomaton(const LineAutomaton&) = delete;
  LineAutomaton& operator=(const LineAutomaton&) = delete;

  // True when nothing can be ruled out: a pattern takes every line.
  bool takesEveryLine() const { return takesEveryLine_; }

  // Whether any pattern may match the line.
  bool mayMatch(std::string_view line);

  // Sets `found[i]` for each pattern i that may match the line; `found` has one element per pattern.
  void classify(std::string_view line, std::vector<bool>& found);

  // Appends to `starts` the offset in `text` of each line that any pattern may match, in order. `text` begins at the
  // beginning of a line and ends behind a line feed or at the end of the log.
  void findLines(std::string_view text, std::vector<size_t>& starts);

 private:
  // A state is the offset of its row in the tables. Row 0 is never left: the fast table leads there where there is more
  // to do than to go on.
  using State = uint32_t;
  using NodeSet = std::vector<uint32_t>;
  struct Node;
  struct Cursor;
  static constexpr State kStop = 0;
  static constexpr size_t kCursors = 4;  // stretches searched in turn: one's table look-ups hide another's latency

  uint32_t addNode(const Node& node);
  uint32_t build(const RegexNode& pattern, uint32_t next);
  uint32_t buildRepeat(const RegexNode& pattern, uint32_t next);
  void chooseClasses();

  void close(uint32_t node, bool atLineStart, NodeSet& set);
  void stepBy(const NodeSet& from, uint8_t byteClass, NodeSet& set);
  NodeSet stepAtLineEnd(const NodeSet& from, bool atLineStart);
  std::vector<uint32_t> matchesIn(const NodeSet& set) const;

  State step(State from, uint8_t byteClass);
  State stateOf(NodeSet set);
  bool makeRoom();
  void reset();
  bool hasHit(State state) const { return !hits_[state / rowLen_].empty(); }
  bool hasEndHit(State state) const { return !endHits_[state / rowLen_].empty(); }

  void advanceTogether(std::array<Cursor, kCursors>& cursors);
  void advance(Cursor& cursor, const char* stop);
  void markLine(Cursor& cursor) const;

  // The patterns.
  std::vector<Node> nodes_;
  std::vector<uint32_t> starts_;        // per pattern, its first node
  std::array<uint8_t, 256> classOf_{};  // bytes that no pattern tells apart share a class
  std::vector<uint8_t> byteOf_;         // a byte of each class
  NodeSet floating_;                    // nodes that belong to every state: a match may begin at any byte
  std::vector<std::optional<NodeSet>> floatingSteps_;  // per class, what follows them; built when first needed
  bool takesEveryLine_ = false;
  std::vector<uint32_t> marks_;  // per node, the number of the closure that visited it last
  uint32_t closure_ = 0;

  // The states that are built so far.
  size_t maxStates_ = 0;
  bool exhausted_ = false;
  int resets_ = 0;
  uint32_t rowLen_ = 0;  // number of classes
  State initial_ = kStop;
  std::map<NodeSet, State> states_;
  std::vector<const NodeSet*> setOf_;           // per row
  std::vector<std::vector<uint32_t>> hits_;     // per row, the patterns matched by the bytes so far
  std::vector<std::vector<uint32_t>> endHits_;  // per row, the patterns matched if the line ends here
  std::vector<State> fast_;                     // next state; kStop when it is not built or has a hit
  std::vector<State> exact_;                    // next state; kStop when it is not built
};

#endif  // REGEX_LINE_AUTOMATON_H
