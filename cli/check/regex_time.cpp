#include "cli/check/regex_time.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <tuple>
#include <unordered_map>

#include "cli/check/pattern_nfa.h"
#include "regex/regex_tree.h"

namespace {

using Kind = RegexNode::Kind;

constexpr int kRepetitions = 30;         // of an input: two ways each make 2^30 steps
constexpr size_t kMaxSteps = 1'000'000;  // looks at a byte of a line; what needs more is slow
constexpr size_t kMaxPairs = 500'000;    // of two ways through a pattern

struct TooManySteps {};

// Walks over a text, counts how often a byte is looked at, and throws TooManySteps in the end. So the library's own
// engine tells what it does, and can be stopped.
class CountingIterator {
 public:
  using iterator_category = std::bidirectional_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  CountingIterator() = default;
  CountingIterator(const char* at, size_t* steps) : at_(at), steps_(steps) {}

  reference operator*() const {
    if (++*steps_ > kMaxSteps) throw TooManySteps();
    return *at_;
  }
  CountingIterator& operator++() { return ++at_, *this; }
  CountingIterator operator++(int) { return {at_++, steps_}; }
  CountingIterator& operator--() { return --at_, *this; }
  CountingIterator operator--(int) { return {at_--, steps_}; }
  bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

 private:
  const char* at_ = nullptr;
  size_t* steps_ = nullptr;
};

bool TakesTooManySteps(const std::string& text, const std::regex& expression, bool wholeText) {
  size_t steps = 0;
  const CountingIterator begin(text.data(), &steps);
  const CountingIterator end(text.data() + text.size(), &steps);
  try {
    std::match_results<CountingIterator> match;
    wholeText ? std::regex_match(begin, end, match, expression) : std::regex_search(begin, end, match, expression);
  } catch (const TooManySteps&) {
    return true;
  } catch (const std::regex_error&) {
    return true;  // LLVM's library gives up by itself
  }
  return false;
}

std::string Text(const SlowInput& input) {
  std::string text = input.before;
  for (int i = 0; i < input.count; ++i) text += input.repeated;
  return text + input.after;
}

bool HoldsChoiceOrRepeat(const RegexNode& pattern) {
  return pattern.kind == Kind::kChoice || pattern.kind == Kind::kRepeat ||
         std::any_of(pattern.parts.begin(), pattern.parts.end(), HoldsChoiceOrRepeat);
}

// A cheap necessary condition: a loop that can be gone through in several ways.
bool HoldsDoubtfulLoop(const RegexNode& pattern) {
  return (pattern.kind == Kind::kRepeat && pattern.max != 1 && HoldsChoiceOrRepeat(pattern.parts[0])) ||
         std::any_of(pattern.parts.begin(), pattern.parts.end(), HoldsDoubtfulLoop);
}

// Bytes from 128 are in every class of a pattern that was read: that makes no two classes overlap.
void KeepAscii(PatternNfa& nfa) {
  ByteSet ascii;
  for (size_t b = 0; b < 128; ++b) ascii.set(b);
  for (ByteSet& bytes : nfa.bytes) bytes &= ascii;
}

// Looks for a text that leads from a state back to itself in two ways.
class TwoWays {
 public:
  explicit TwoWays(const PatternNfa& nfa) : nfa_(nfa) {}

  std::optional<std::string> around(uint32_t state) {
    known_.clear();
    queue_.clear();
    const uint64_t start = add(state, state, false, 0, '\0');
    const uint64_t goal = keyOf(state, state, true);
    while (!queue_.empty() && known_.size() < kMaxPairs && !known_.contains(goal)) {
      const auto [a, b, differ, key] = queue_.front();
      queue_.pop_front();
      advance(a, b, differ, key);
    }
    if (!known_.contains(goal)) return std::nullopt;
    std::string text;
    for (uint64_t key = goal; key != start; key = known_[key].first) text += known_[key].second;
    std::reverse(text.begin(), text.end());
    return text;
  }

 private:
  static uint64_t keyOf(uint32_t a, uint32_t b, bool differ) {
    return (uint64_t{std::min(a, b)} << 33) | (uint64_t{std::max(a, b)} << 1) | (differ ? 1 : 0);
  }

  uint64_t add(uint32_t a, uint32_t b, bool differ, uint64_t from, char byte) {
    const uint64_t key = keyOf(a, b, differ);
    if (known_.try_emplace(key, from, byte).second) queue_.emplace_back(a, b, differ, key);
    return key;
  }

  void advance(uint32_t a, uint32_t b, bool differ, uint64_t key) {
    for (size_t i = 0; i < nfa_.edges[a].size(); ++i) {
      // From one state, each pair of edges is needed in one order only.
      for (size_t j = a == b ? i : 0; j < nfa_.edges[b].size(); ++j) {
        const PatternNfa::Edge& first = nfa_.edges[a][i];
        const PatternNfa::Edge& second = nfa_.edges[b][j];
        if (!staysInside(first) || !staysInside(second)) continue;
        const std::optional<char> byte = ReadableByte(nfa_.bytes[first.to] & nfa_.bytes[second.to]);
        if (byte) add(first.to, second.to, differ || a != b || i != j, key, *byte);
      }
    }
  }

  static bool staysInside(const PatternNfa::Edge& edge) {
    return edge.to != PatternNfa::kEnd && !edge.atLineStart && !edge.atLineEnd;
  }

  const PatternNfa& nfa_;
  std::unordered_map<uint64_t, std::pair<uint64_t, char>> known_;  // pair of states -> where from, by which byte
  std::deque<std::tuple<uint32_t, uint32_t, bool, uint64_t>> queue_;
};

// Looks for an end of the input that makes the search fail only after it has tried everything. With a matching text
// behind that, no filter can turn the line away.
bool FindEnd(const PatternNfa& nfa, const std::regex& expression, bool wholeText, SlowInput& input) {
  const std::string match = wholeText ? "" : nfa.shortestText(PatternNfa::kBegin, PatternNfa::kEnd).value_or("");
  for (const char* end : {"!", " ", ";", "#", "-", "/", "a", "0", "\t", ""}) {
    for (const std::string& tail : {*end == '\0' ? "" : match, std::string()}) {
      input.after = end + tail;
      if (TakesTooManySteps(Text(input), expression, wholeText)) return true;
    }
  }
  return false;
}

}  // namespace

std::optional<SlowInput> FindSlowInput(const std::string& text, bool wholeText) {
  const std::optional<RegexTree> tree = ReadRegexTree(text);
  if (!tree || !HoldsDoubtfulLoop(tree->root)) return std::nullopt;
  std::optional<PatternNfa> nfa = PatternNfa::of(tree->root);
  if (!nfa) return std::nullopt;
  KeepAscii(*nfa);
  const std::regex expression(text);
  TwoWays twoWays(*nfa);
  for (uint32_t state = PatternNfa::kEnd + 1; state < nfa->bytes.size(); ++state) {
    const std::optional<std::string> before = nfa->shortestText(PatternNfa::kBegin, state);
    const std::optional<std::string> repeated = before ? twoWays.around(state) : std::nullopt;
    if (!repeated) continue;
    SlowInput input{*before, *repeated, kRepetitions, ""};
    if (FindEnd(*nfa, expression, wholeText, input)) return input;
  }
  return std::nullopt;
}

std::optional<std::string> MatchIn(const std::string& line, const std::regex& expression) {
  size_t steps = 0;
  try {
    std::match_results<CountingIterator> match;
    if (!std::regex_search(CountingIterator(line.data(), &steps), CountingIterator(line.data() + line.size(), &steps),
                           match, expression)) {
      return std::nullopt;
    }
    return std::string(match[0].first, match[0].second);
  } catch (const TooManySteps&) {
    return std::nullopt;
  } catch (const std::regex_error&) {
    return std::nullopt;
  }
}
