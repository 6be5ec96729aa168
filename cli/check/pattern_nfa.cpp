#include "cli/check/pattern_nfa.h"

#include <algorithm>
#include <array>
#include <deque>
#include <string_view>

namespace {

using Kind = RegexNode::Kind;

constexpr int kMany = 5;                // repetitions that count as unbounded
constexpr size_t kMaxStates = 1000;     // bytes that a pattern takes, repetitions written out
constexpr size_t kMaxVisits = 500'000;  // of steps, on all ways from one byte to the next

// Builds a graph of steps, most of them empty, and follows the empty ones from byte to byte.
class NfaBuilder {
 public:
  std::optional<PatternNfa> build(const RegexNode& pattern) {
    nfa_.bytes.resize(2);
    const uint32_t end = addStep({.type = Step::kState, .state = PatternNfa::kEnd});
    const uint32_t first = add(pattern, end);
    if (isTooLarge_) return std::nullopt;
    nfa_.edges.resize(nfa_.bytes.size());
    visits_.assign(steps_.size(), 0);
    follow(first, PatternNfa::kBegin, false, false);
    for (const Step& step : steps_) {
      if (step.type == Step::kState && step.state != PatternNfa::kEnd) follow(step.next[0], step.state, false, false);
    }
    if (isTooLarge_) return std::nullopt;
    return std::move(nfa_);
  }

 private:
  struct Step {
    enum Type { kEmpty, kState, kLineStart, kLineEnd } type = kEmpty;
    uint32_t state = 0;
    std::vector<uint32_t> next = {};
  };

  uint32_t addStep(Step step) {
    steps_.push_back(std::move(step));
    return static_cast<uint32_t>(steps_.size() - 1);
  }

  // Adds the steps for `pattern`, which lead on to `next`; returns the first one.
  uint32_t add(const RegexNode& pattern, uint32_t next) {
    if (isTooLarge_) return next;
    switch (pattern.kind) {
      case Kind::kByte:
        nfa_.bytes.push_back(pattern.bytes);
        isTooLarge_ = nfa_.bytes.size() > kMaxStates;
        return addStep({Step::kState, static_cast<uint32_t>(nfa_.bytes.size() - 1), {next}});
      case Kind::kBackReference:
        return add(AnyText(), next);
      case Kind::kSequence:
      case Kind::kFirstGroup:
        for (auto part = pattern.parts.rbegin(); part != pattern.parts.rend(); ++part) next = add(*part, next);
        return next;
      case Kind::kChoice: {
        Step choice;
        for (const RegexNode& part : pattern.parts) choice.next.push_back(add(part, next));
        return addStep(choice);
      }
      case Kind::kRepeat:
        return addRepeat(pattern, next);
      case Kind::kLineStart:
      case Kind::kLineEnd:
        return addStep({pattern.kind == Kind::kLineStart ? Step::kLineStart : Step::kLineEnd, 0, {next}});
      default:  // look-ahead and word boundaries count as met
        return next;
    }
  }

  uint32_t addRepeat(const RegexNode& pattern, uint32_t next) {
    const RegexNode& body = pattern.parts[0];
    if (pattern.max == RegexNode::kUnbounded || pattern.max >= kMany) {
      const uint32_t loop = addStep({});
      const uint32_t again = add(body, loop);
      steps_[loop].next = {again, next};
      return pattern.min > 0 ? again : loop;
    }
    for (int i = pattern.min; i < pattern.max; ++i) next = addStep({Step::kEmpty, 0, {add(body, next), next}});
    for (int i = 0; i < pattern.min; ++i) next = add(body, next);
    return next;
  }

  // Adds an edge for each way over empty steps that passes none of them more than twice: a search goes through a loop
  // again from an outer loop. Of equal edges two tell that there are several.
  void follow(uint32_t at, uint32_t from, bool atLineStart, bool atLineEnd) {
    isTooLarge_ = isTooLarge_ || ++visitCount_ > kMaxVisits;
    if (isTooLarge_ || visits_[at] == 2) return;
    const Step& step = steps_[at];
    if (step.type == Step::kState) {
      const PatternNfa::Edge edge{step.state, atLineStart, atLineEnd};
      std::vector<PatternNfa::Edge>& edges = nfa_.edges[from];
      if (std::count(edges.begin(), edges.end(), edge) < 2) edges.push_back(edge);
      return;
    }
    ++visits_[at];
    for (const uint32_t next : step.next) {
      follow(next, from, atLineStart || step.type == Step::kLineStart, atLineEnd || step.type == Step::kLineEnd);
    }
    --visits_[at];
  }

  PatternNfa nfa_;
  std::vector<Step> steps_;
  std::vector<int> visits_;  // of each step, on the way that is followed
  size_t visitCount_ = 0;
  bool isTooLarge_ = false;
};

}  // namespace

std::optional<PatternNfa> PatternNfa::of(const RegexNode& pattern) { return NfaBuilder().build(pattern); }

std::optional<std::string> PatternNfa::shortestText(uint32_t from, uint32_t to) const {
  std::vector<uint32_t> cameFrom(edges.size(), from);
  std::vector<bool> isKnown(edges.size(), false);
  std::deque<uint32_t> queue{from};
  isKnown[from] = true;
  while (!queue.empty() && !isKnown[to]) {
    const uint32_t state = queue.front();
    queue.pop_front();
    for (const Edge& edge : edges[state]) {
      const bool isPossible = (!edge.atLineStart || state == kBegin) && (!edge.atLineEnd || edge.to == kEnd) &&
                              (edge.to == kEnd || ReadableByte(bytes[edge.to]));
      if (!isPossible || isKnown[edge.to]) continue;
      isKnown[edge.to] = true;
      cameFrom[edge.to] = state;
      queue.push_back(edge.to);
    }
  }
  if (!isKnown[to]) return std::nullopt;
  std::string text;
  for (uint32_t state = to; state != from; state = cameFrom[state]) {
    if (state != kEnd) text += *ReadableByte(bytes[state]);
  }
  std::reverse(text.begin(), text.end());
  return text;
}

std::optional<char> ReadableByte(const ByteSet& bytes) {
  constexpr std::string_view kBest = "ax0bAz19";
  for (const char c : kBest) {
    if (bytes[static_cast<unsigned char>(c)]) return c;
  }
  for (char c = '~'; c >= ' '; --c) {
    if (bytes[static_cast<unsigned char>(c)]) return c;
  }
  if (bytes['\t']) return '\t';
  return std::nullopt;
}
