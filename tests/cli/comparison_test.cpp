#include "cli/fleet/comparison.h"

#include <gtest/gtest.h>

namespace {

// "<kind> <before>><after>x<logs>..." for each move.
std::string MovesOf(const Comparison& comparison) {
  std::string text;
  for (const GroupMove& move : comparison.groupMoves()) {
    text += move.kind == GroupMoveKind::kMerged ? "merged" : move.kind == GroupMoveKind::kSplit ? "split" : "moved";
    for (const GroupStep& step : move.steps) {
      text += " " + step.before + ">" + step.after + "x" + std::to_string(step.count);
    }
    text += "; ";
  }
  return text;
}

TEST(Comparison, TellsHowGroupsMove) {
  const struct {
    const char* what;
    std::vector<const char*> logs;  // fingerprint before and after, a letter each
    const char* moves;
  } kCases[] = {
      {"nothing", {"aa", "bb", "aa"}, ""},
      {"another fingerprint", {"ab", "ab", "cc"}, "moved a>bx2; "},
      {"swapped", {"ab", "ba"}, "moved a>bx1; moved b>ax1; "},
      {"one joins another", {"aa", "ba", "ba"}, "merged b>ax2 a>ax1; "},
      {"a part leaves", {"aa", "aa", "ab"}, "split a>ax2 a>bx1; "},
      {"a part joins another", {"aa", "ab", "bb", "bb"}, "merged b>bx2 a>bx1; split a>ax1 a>bx1; "},
      {"without fingerprint", {"a-", "-b"}, ""},
  };
  for (const auto& c : kCases) {
    Comparison comparison;
    for (const char* log : c.logs) {
      LogResult results[2];
      for (size_t i : {0U, 1U}) {
        results[i].results["PID"] = "1";
        if (log[i] != '-') results[i].results["FINGERPRINT"] = std::string(1, log[i]);
      }
      comparison.add("log", results[0], results[1]);
    }
    EXPECT_EQ(c.moves, MovesOf(comparison)) << c.what;
    EXPECT_EQ(std::string(c.what) != "nothing", comparison.isMoved()) << c.what;
  }
}

TEST(Comparison, IsMovedByALogThatFailsOrWasMended) {
  const LogResult none;
  const LogResult fault{{}, "reason"};
  const struct {
    const char* what;
    LogResult before;
    LogResult after;
    bool isMoved;
  } kCases[] = {{"fails now", none, fault, true},
                {"mended", fault, none, true},
                {"faulty", fault, fault, false},
                {"nothing", none, none, false}};
  for (const auto& c : kCases) {
    Comparison comparison;
    comparison.add("log", c.before, c.after);
    EXPECT_EQ(c.isMoved, comparison.isMoved()) << c.what;
  }
}

TEST(Comparison, CountsWhatBecomesOfLogsAndKeys) {
  const LogResult none;
  const LogResult fault{{}, "reason"};
  const LogResult one{{{"A", "1"}, {"B", "1"}}, ""};
  const LogResult two{{{"A", "2"}, {"C", "1"}}, ""};
  Comparison comparison;
  comparison.add("gained", none, one);
  comparison.add("lost", one, none);
  comparison.add("failing", one, fault);
  comparison.add("mended", fault, none);
  comparison.add("faulty", fault, fault);
  comparison.add("first", one, two);
  comparison.add("second", two, one);
  EXPECT_EQ(std::vector<std::string>{"gained"}, comparison.gained());
  EXPECT_EQ((std::vector<std::string>{"lost", "failing"}), comparison.lost());
  ASSERT_EQ(1U, comparison.failing().size());
  EXPECT_EQ("failing", comparison.failing()[0].path);
  ASSERT_EQ(1U, comparison.mended().size());
  EXPECT_EQ("mended", comparison.mended()[0].path);
  ASSERT_EQ(1U, comparison.faulty().size());
  EXPECT_EQ("faulty", comparison.faulty()[0].path);
  const KeyChange& a = comparison.keys().at("A");
  const KeyChange& c = comparison.keys().at("C");
  EXPECT_EQ(2U, a.changed);
  EXPECT_EQ("first: 1 2", a.example + ": " + a.before + " " + a.after);
  EXPECT_EQ("1 added, 1 removed, 0 changed", std::to_string(c.added) + " added, " + std::to_string(c.removed) +
                                                 " removed, " + std::to_string(c.changed) + " changed");
}

}  // namespace
