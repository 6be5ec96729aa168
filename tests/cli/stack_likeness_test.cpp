#include "cli/fleet/stack_likeness.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Stacks = std::vector<std::vector<std::string>>;

// One letter for each frame.
Stacks StacksOf(const std::vector<std::string>& texts) {
  Stacks stacks;
  for (const std::string& text : texts) {
    auto& frames = stacks.emplace_back();
    for (const char c : text) frames.emplace_back(1, c);
  }
  return stacks;
}

TEST(StackLikeness, WeighsFramesByPlaceAndRarity) {
  const struct {
    const char* what;
    std::vector<std::string> stacks;  // the first is held against the second, and against the third
    bool isNearer;                    // the second
  } kCases[] = {
      {"the head counts more than what is below", {"abcd", "xbcd", "abcx"}, false},
      {"a rare frame counts more", {"xabx", "yayy", "ybyy", "byyy", "byyy"}, true},
      {"the order counts", {"abc", "abx", "cba"}, true},
      {"a frame between them costs", {"abc", "axbc", "abc"}, false},
      {"a frame too few costs less than another one", {"abcd", "abd", "abxd"}, true},
  };
  for (const auto& c : kCases) {
    const StackLikeness likeness(StacksOf(c.stacks));
    EXPECT_EQ(c.isNearer, likeness.distance(0, 1) < likeness.distance(0, 2)) << c.what;
    EXPECT_EQ(likeness.distance(0, 1), likeness.distance(1, 0)) << c.what;
  }
}

TEST(StackLikeness, GoesFromEqualToNothingInCommon) {
  const StackLikeness likeness(StacksOf({"abc", "abc", "xyz", "", ""}));
  EXPECT_NEAR(0, likeness.distance(0, 1), 1e-6);
  EXPECT_EQ(1, likeness.distance(0, 2));
  EXPECT_EQ(1, likeness.distance(0, 3));
  EXPECT_EQ(1, likeness.distance(3, 4));
}

// "0 0 2": the first two are led by the first, the third by itself.
std::string LeadersOf(const Stacks& stacks) {
  std::string leaders;
  for (const auto& [leader, distance] : StackLikeness(stacks).leaders()) {
    leaders += (leaders.empty() ? "" : " ") + std::to_string(leader);
  }
  return leaders;
}

TEST(StackLikeness, GathersWhatIsAlike) {
  EXPECT_EQ("0 0 2 2 4 0", LeadersOf(StacksOf({"abcd", "abxd", "mnop", "mnoq", "", "abcd"})));
  EXPECT_EQ("0 1 1", LeadersOf(StacksOf({"abcd", "axyz", "axyd"}))) << "the nearest leads";
  EXPECT_EQ("0 1 0", LeadersOf(StacksOf({"abcdef", "abuvwx", "abcduv"}))) << "of two that are alike, too";
}

TEST(StackLikeness, FindsWhatIsAlikeAmongThousands) {
  Stacks stacks;
  for (size_t i = 0; i < 4000; ++i) {
    const std::string own = std::to_string(i / 2);
    stacks.push_back({"head", "own" + own, "below" + own, i % 2 == 0 ? "even" : "odd", "main"});
  }
  const auto leaders = StackLikeness(stacks).leaders();
  for (size_t i = 0; i < stacks.size(); ++i) ASSERT_EQ(i - i % 2, leaders[i].stack);
}

}  // namespace
