#ifndef REGEX_LINE_AUTOMATON_H
#define REGEX_LINE_AUTOMATON_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "regex/regex_tree.h"

// One automaton for any number of patterns, searched for anywhere in a line. A pattern takes every line that its
// expression takes, and perhaps a few more: look-ahead and word boundaries count as met, back-references take any text,
// and a class takes all bytes from 128, which belong to it by the locale where std::regex has the last word. Its
// deterministic states are built when the text first leads to them, up to a limit of memory; past that limit it answers
// "may match", which is always allowed. What is searched for may change from text to text: the states hold whatever
// that is. Searching is linear in the length of the text and needs no stack. Not for several threads at once.
class LineAutomaton {
 public:
  // `maxTableSize`: bytes of the transition tables.
  LineAutomaton(const std::vector<RegexNode>& patterns, size_t maxTableSize);
  ~LineAutomaton();
  LineAutomaton(const LineAutomaton&) = delete;
  LineAutomaton& operator=(const LineAutomaton&) = delete;

  // Has mayMatch() and findLines() look for those patterns i alone for which `wanted[i]` is set; at first for all.
  void lookFor(const std::vector<bool>& wanted);

  // Whether any pattern that is looked for may match the line.
  bool mayMatch(std::string_view line);

  // Sets `found[i]` for each pattern i, looked for or not, that may match the line; `found` has one element per
  // pattern.
  void classify(std::string_view line, std::vector<bool>& found);

  // True when memory ran out so often that nothing is ruled out any more.
  bool isWornOut() const { return exhausted_ && resets_ == kMaxResets; }

  // Bytes that the automaton holds, about.
  size_t memory() const { return memory_; }

  // Appends to `starts` the offset in `text` of each line that a pattern which is looked for may match, in order.
  // `text` begins at the beginning of a line and ends behind a line feed or at the end of the log.
  void findLines(std::string_view text, std::vector<size_t>& starts);

 private:
  // A state is the offset of its row in the tables. Row 0 is a trap, to which the fast table leads wherever the inner
  // loop has to stop: at a match, and at a transition that has not been built.
  using State = uint32_t;
  using NodeSet = std::vector<uint32_t>;
  struct Node;
  struct Cursor;
  struct NodeSetHash {
    size_t operator()(const NodeSet& set) const;
  };
  static constexpr State kStop = 0;
  static constexpr State kMarked = 1U << 31;  // in the exact table: a pattern is matched in the state that follows
  static constexpr int kMaxResets = 16;       // after so many exhausted tables nothing is ruled out any more
  static constexpr size_t kCursors = 4;       // stretches searched in turn: one's table look-ups hide another's latency

  uint32_t addNode(const Node& node);
  uint32_t build(const RegexNode& pattern, uint32_t next);
  uint32_t buildRepeat(const RegexNode& pattern, uint32_t next);
  void chooseClasses();

  void close(uint32_t node, bool atLineStart, NodeSet& set);
  void follow(const NodeSet& from, uint8_t byteClass, NodeSet& set);
  NodeSet followLineEnd(const NodeSet& from, bool atLineStart);
  std::vector<uint32_t> matchesIn(const NodeSet& set) const;

  State successorOf(State from, uint8_t byteClass);
  State stateOfUnanchored(uint8_t byteClass);
  NodeSet withUnanchored(NodeSet set, uint8_t byteClass);
  State stateOf(NodeSet set);
  bool makeRoom();
  void reset();
  bool holdsWanted(const std::vector<uint32_t>& patterns) const;
  void setRow(State state);
  bool stopsAt(State state) const { return stops_[state / rowLen_]; }
  bool stopsAtEnd(State state) const { return endStops_[state / rowLen_]; }

  void advanceTogether(std::array<Cursor, kCursors>& cursors);
  void advance(Cursor& cursor, const char* stop);
  void markLine(Cursor& cursor) const;

  // The patterns.
  std::vector<Node> nodes_;
  std::vector<uint32_t> starts_;        // per pattern, its first node
  std::array<uint8_t, 256> classOf_{};  // bytes that no pattern tells apart share a class
  std::vector<uint8_t> byteOf_;         // a byte of each class
  NodeSet unanchored_;                  // nodes that belong to every state: a match may begin at any byte
  std::vector<std::optional<NodeSet>> unanchoredSuccessors_;  // per class, what follows them; built when first needed
  std::vector<State> unanchoredStates_;    // per class, the state of those alone; kStop when it is not built
  bool takesEveryLine_ = false;            // a pattern that is looked for does
  std::vector<uint32_t> everyLineTakers_;  // patterns
  std::vector<bool> wanted_;
  bool hasLineEnds_ = false;
  std::vector<uint32_t> marks_;  // per node, the number of the closure that visited it last
  uint32_t closure_ = 0;
  NodeSet open_;  // nodes that a closure still has to visit

  // The states that are built so far.
  size_t maxStates_ = 0;
  bool exhausted_ = false;
  int resets_ = 0;
  uint32_t rowLen_ = 0;  // number of classes
  State initial_ = kStop;
  size_t memory_ = 0;
  std::unordered_map<NodeSet, State, NodeSetHash> states_;
  std::vector<const NodeSet*> setOf_;           // per row
  std::vector<std::vector<uint32_t>> hits_;     // per row, the patterns matched by the bytes so far
  std::vector<std::vector<uint32_t>> endHits_;  // per row, the patterns matched if the line ends here
  std::vector<bool> stops_;                     // per row, whether `hits_` holds a pattern that is looked for
  std::vector<bool> endStops_;                  // the same of `endHits_`
  std::vector<State> fast_;                     // next state; kStop when it is not built or stops the search
  std::vector<State> exact_;                    // next state; kStop when it is not built
};

#endif  // REGEX_LINE_AUTOMATON_H
