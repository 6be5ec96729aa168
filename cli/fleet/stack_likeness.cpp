#include "cli/fleet/stack_likeness.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>

namespace {

constexpr size_t kMaxHolders = 64;     // leaders that have a frame; one that more have is not rare
constexpr size_t kMaxCandidates = 16;  // that a stack is held against
constexpr double kPlaces = 4;          // from the head, at which a frame weighs half of what it does there

}  // namespace

StackLikeness::StackLikeness(const std::vector<std::vector<std::string>>& stacks) {
  std::unordered_map<std::string, uint32_t> names;
  for (const auto& lines : stacks) {
    Frames& frames = stacks_.emplace_back();
    for (size_t i = 0; i < std::min(lines.size(), kMaxFrames); ++i) {
      frames.push_back({names.try_emplace(lines[i], static_cast<uint32_t>(names.size())).first->second, 0});
    }
  }
  names_ = names.size();
  std::vector<size_t> holders(names_);
  std::vector<size_t> lastHolder(names_, stacks_.size());
  for (size_t i = 0; i < stacks_.size(); ++i) {
    for (const Frame& frame : stacks_[i]) {
      holders[frame.name] += lastHolder[frame.name] == i ? 0 : 1;
      lastHolder[frame.name] = i;
    }
  }
  for (Frames& frames : stacks_) {
    double& sum = weights_.emplace_back(0);
    for (size_t place = 0; place < frames.size(); ++place) {
      const double rarity =
          std::log1p(static_cast<double>(stacks_.size()) / static_cast<double>(holders[frames[place].name]));
      frames[place].weight = static_cast<float>(rarity / (1 + static_cast<double>(place) / kPlaces));
      sum += frames[place].weight;
    }
  }
}

// What need not be taken out or put in is the heaviest common subsequence; a frame that stands lower in one of the
// stacks counts with the smaller weight.
double StackLikeness::distance(size_t a, size_t b) const {
  const Frames& other = stacks_[b];
  std::vector<double> common(other.size() + 1);  // with the first frames of `other`
  for (const Frame& frame : stacks_[a]) {
    double diagonal = 0;
    for (size_t i = 0; i < other.size(); ++i) {
      const double above = common[i + 1];
      common[i + 1] = std::max(above, common[i]);
      if (frame.name == other[i].name) {
        common[i + 1] = std::max(common[i + 1], diagonal + std::min(frame.weight, other[i].weight));
      }
      diagonal = above;
    }
  }
  const double all = weights_[a] + weights_[b];
  return all == 0 ? 1 : std::max(0.0, 1 - 2 * common.back() / all);
}

// Those with the most weight of rare frames in common, each frame counted once.
std::vector<size_t> StackLikeness::candidates(size_t stack, const Postings& holders) const {
  std::map<size_t, double> shared;
  for (const Frame& frame : stacks_[stack]) {
    if (holders[frame.name].size() > kMaxHolders) continue;
    for (const uint32_t holder : holders[frame.name]) shared[holder] += frame.weight;
  }
  std::vector<std::pair<double, size_t>> order;
  for (const auto& [holder, weight] : shared) order.emplace_back(-weight, holder);
  std::sort(order.begin(), order.end());
  std::vector<size_t> best;
  for (size_t i = 0; i < std::min(order.size(), kMaxCandidates); ++i) best.push_back(order[i].second);
  return best;
}

std::vector<StackLikeness::Match> StackLikeness::leaders() const {
  Postings holders(names_);  // leaders by frame
  std::vector<Match> matches;
  for (size_t i = 0; i < stacks_.size(); ++i) {
    Match best{i, 0};
    for (const size_t leader : candidates(i, holders)) {
      const double far = distance(i, leader);
      if (far <= kMaxDistance && (best.stack == i || far < best.distance)) best = {leader, far};
    }
    matches.push_back(best);
    if (best.stack != i) continue;
    for (const Frame& frame : stacks_[i]) {
      std::vector<uint32_t>& list = holders[frame.name];
      if (list.size() <= kMaxHolders && (list.empty() || list.back() != i)) list.push_back(static_cast<uint32_t>(i));
    }
  }
  return matches;
}
