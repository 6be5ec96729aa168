#ifndef CLI_FLEET_STACK_LIKENESS_H
#define CLI_FLEET_STACK_LIKENESS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// How alike stacks are: a weighted edit distance. Frames are taken out and put in to make one stack of the other, and
// what that costs is given as a share of all frames' weight. A frame weighs more the nearer to the head it stands and
// the fewer stacks have it: log(1 + stacks / those with the frame) / (1 + place / 4).
class StackLikeness {
 public:
  // What is alike: half of the weight is in both, in the same order.
  static constexpr double kMaxDistance = 0.5;

  static constexpr size_t kMaxFrames = 64;  // of a stack; what is below does not count

  // The stack that a stack is like, and how far from.
  struct Match {
    size_t stack = 0;
    double distance = 0;
  };

  explicit StackLikeness(const std::vector<std::vector<std::string>>& stacks);

  // From 0 for equal stacks to 1 for those without a frame in common, which an empty stack is to any.
  double distance(size_t a, size_t b) const;

  // Leader clustering: for each stack, in order, the nearest earlier one that is alike and is not like another itself,
  // or else the stack itself. Stacks are held against few others, of those that have a rare frame in common.
  std::vector<Match> leaders() const;

 private:
  struct Frame {
    uint32_t name = 0;
    float weight = 0;
  };
  using Frames = std::vector<Frame>;
  using Postings = std::vector<std::vector<uint32_t>>;

  std::vector<size_t> candidates(size_t stack, const Postings& holders) const;

  std::vector<Frames> stacks_;
  std::vector<double> weights_;  // of whole stacks
  size_t names_ = 0;
};

#endif  // CLI_FLEET_STACK_LIKENESS_H
