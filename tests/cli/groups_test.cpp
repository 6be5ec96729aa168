#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/fleet/frame_skips.h"
#include "cli/fleet/group_table.h"
#include "cli/fleet/grouping.h"
#include "cli/fleet/result_line.h"
#include "cli/output/input_error.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(ResultLine, ReadsWhatBatchPrintsAndOtherJsonAlike) {
  const struct {
    const char* what;
    std::string line;
    std::string read;  // "<path>|<event>|<result A>", "failed", or "none"
  } kCases[] = {
      {"as printed", R"({"path":"a","event":"e","results":{"A":"1"}})", "a|e|1"},
      {"with all members",
       R"({"path":"a","encodedPath":"%FF","event":"e","as":"/d","results":{"B":"","A":"1"},"ms":0.5})", "a|e|1"},
      {"escapes", R"({"path":"a\"\\\/","event":"\t","results":{"A":"1\r\n2\b\f"}})", "a\"\\/|\t|1\r\n2\b\f"},
      {"escapes of code units", R"({"path":"\u0001","event":"","results":{"A":"\u00e9\ud83d\ude00\n"}})",
       "\x01||\xc3\xa9\xf0\x9f\x98\x80\n"},
      {"key with escapes", R"({"path":"a","event":"","results":{"\u0041":"1"}})", "a||1"},
      {"other order and blanks", R"( { "results" : {"A":"1\n"}, "path": "a" } )", "a||1\n"},
      {"a number as result", R"({"path":"a","event":"e","results":{"A":1}})", "a|e|-"},
      {"no results", R"({"path":"a","event":"e","results":{}})", "a|e|-"},
      {"an error", R"({"path":"a","event":"e","error":"no such file"})", "failed"},
      {"an error, other order", R"({"error":"no such file","path":"a"})", "failed"},
      {"cut", R"({"path":"a","event":"e","results":{"A":"1)", "none"},
      {"cut behind a backslash", R"({"path":"a","event":"e","results":{"A":"1\)", "none"},
      {"cut at the end", R"({"path":"a","event":"e","results":{"A":"1"})", "none"},
      {"more behind it", R"({"path":"a","event":"e","results":{"A":"1"}}{)", "none"},
      {"no path", R"({"event":"e","results":{"A":"1"}})", "none"},
      {"no object", R"(["path"])", "none"},
  };
  ResultLine line;
  for (const auto& c : kCases) {
    std::string read = "none";
    if (line.read(c.line)) {
      read = line.isFailed() ? "failed" : line.path() + "|" + line.event() + "|" + line.result("A").value_or("-");
    }
    EXPECT_EQ(c.read, read) << c.what;
  }
}

constexpr size_t kLogs = 16'000;
constexpr size_t kExamples = 2;

std::string ValueOf(size_t log, size_t groups) { return std::to_string(log % groups % (groups - groups / 3)); }

// Whether it is a log of the earlier run.
bool IsBefore(size_t log) { return log % 7 == 6; }

std::string PathOf(size_t log) { return std::to_string(1'000'000 + log); }

// What is shown of the groups, in order. The logs come in steps of `stride`.
std::string ShownOf(size_t groups, size_t stride) {
  GroupTable table(kExamples, GroupTable::kWholeStack);
  ResultLine line;
  for (size_t i = 0; i < kLogs; ++i) {
    const size_t log = i * stride % kLogs;
    const std::string text = R"({"path":")" + PathOf(log) + R"(","event":"","results":{"STACK":"of )" + PathOf(log) +
                             std::string(4000, '.') + R"("}})";
    if (!line.read(text)) continue;
    const std::string value = ValueOf(log, groups);
    IsBefore(log) ? table.addBefore(value, line) : table.add(value, line);
  }
  std::string shown;
  table.forEach(BySize, [&](const Group& group) {
    shown += group.value + " " + std::to_string(group.count) + " " + std::to_string(group.before) + " " + group.first +
             " " + group.last + " " + group.stack.substr(0, 10) + " " + std::to_string(group.examples.size()) +
             group.examples.back().first + "\n";
  });
  return shown;
}

// The same from the paths of all logs, of this run and of the earlier one.
std::string ExpectedOf(size_t groups) {
  using Paths = std::array<std::vector<std::string>, 2>;
  std::map<std::string, Paths> paths;
  for (size_t log = 0; log < kLogs; ++log) paths[ValueOf(log, groups)][IsBefore(log)].push_back(PathOf(log));
  std::vector<std::pair<std::string, Paths>> order(paths.begin(), paths.end());
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.second[0].size() > b.second[0].size(); });
  std::string shown;
  for (const auto& [value, runs] : order) {
    const std::vector<std::string>& logs = runs[runs[0].empty()];
    const size_t examples = std::min(logs.size(), kExamples);
    shown += value + " " + std::to_string(runs[0].size()) + " " + std::to_string(runs[1].size()) + " " + logs.front() +
             " " + logs.back() + " of " + logs.front() + " " + std::to_string(examples) + logs[examples - 1] + "\n";
  }
  return shown;
}

TEST(GroupTable, CountsTheSameInAnyOrderAndFromAFile) {
  for (const size_t groups : {7U, 8'000U}) {  // the larger number is more than memory may hold
    const std::string expected = ExpectedOf(groups);
    for (const size_t stride : {size_t{1}, kLogs - 1, size_t{7919}}) {
      EXPECT_TRUE(expected == ShownOf(groups, stride)) << groups << " " << stride;
    }
  }
}

TEST(GroupTable, NeedsAFileForMoreThanItMayHold) {
  const char* const folder = std::getenv("TMPDIR");
  const std::string before = folder == nullptr ? "" : folder;
  setenv("TMPDIR", "/nowhere", 1);
  EXPECT_NO_THROW(ShownOf(7, 1));
  EXPECT_THROW(ShownOf(8'000, 1), std::system_error);
  folder == nullptr ? unsetenv("TMPDIR") : setenv("TMPDIR", before.c_str(), 1);
}

// It has a line for each of several event types.
TEST(GroupTable, ShowsTheSameOfOneLogInAnyOrder) {
  const std::string lines[] = {R"({"path":"a","event":"x","results":{"STACK":"one"}})",
                               R"({"path":"a","event":"y","results":{"STACK":"two"}})"};
  for (const size_t first : {0U, 1U}) {
    GroupTable table(0, GroupTable::kWholeStack);
    ResultLine line;
    for (const size_t i : {first, 1 - first}) {
      ASSERT_TRUE(line.read(lines[i]));
      table.add("v", line);
    }
    table.forEach(BySize, [](const Group& group) { EXPECT_EQ("one", group.stack); });
  }
}

TEST(FrameSkips, AreReadWithTheirReasons) {
  const TempDir dir;
  FrameSkips skips(dir.write("skips", "# all of it\n\n^abort$  # ends the process\r\n  a#b\n\\bwait[#]1"));
  const struct {
    const char* frame;
    bool isSkipped;
  } kCases[] = {{"abort", true}, {"aborted", false}, {"xa#bx", true}, {"wait#1", true}, {"ends", false}, {"", false}};
  for (const auto& c : kCases) EXPECT_EQ(c.isSkipped, skips.skips(c.frame)) << c.frame;
}

TEST(FrameSkips, NameTheFaultsPlace) {
  const TempDir dir;
  const struct {
    const char* text;
    const char* fault;
  } kCases[] = {
      {"good\n  a(b  # open", ":2:4: invalid expression: there is no \")\" for this \"(\""},
      {"\xc3\xa9\xc3\xa9(?<=x)", ":1:3: "},
      {"(a)\\1", ":1:4: "},  // not searched in linear time
  };
  for (const auto& c : kCases) {
    const std::string file = dir.write("skips", c.text);
    try {
      const FrameSkips skips(file);
      ADD_FAILURE() << c.text;
    } catch (const InputError& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(file + c.fault)) << error.what();
    }
  }
}

TEST(Grouping, TakesWhatCounts) {
  const TempDir dir;
  const std::string skipped = dir.write("skips", "^two$");
  const struct {
    const char* what;
    std::vector<std::string> keys;
    size_t top;
    bool skips;
    std::string value;
    const char* name;
  } kCases[] = {
      {"nothing said", {}, 0, false, "f", "FINGERPRINT"},
      {"one result", {"STACK"}, 0, false, "one\r\nRuntimeException\r\ntwo\r\nthree", "STACK"},
      {"several", {"PID", "STACK"}, 0, false, "7\none RuntimeException two three", "PID, STACK"},
      {"one is missing", {"PID", "TID"}, 0, false, "-", "PID, TID"},
      {"frames, without the heads of blocks", {}, 2, false, "one\ntwo", "the first 2 frames"},
      {"the frames that are left", {}, 2, true, "one\nthree", "the first 2 frames"},
      {"all that are left", {}, 0, true, "one\nthree", "the frames"},
      {"both", {"PID"}, 1, false, "7\none", "PID and the first 1 frame"},
  };
  for (const auto& c : kCases) {
    Grouping grouping(c.keys, c.top, c.skips ? FrameSkips(skipped) : FrameSkips());
    const auto value = grouping.valueOf([](std::string_view key) -> std::optional<std::string> {
      if (key == "FINGERPRINT") return "f";
      if (key == "PID") return "7";
      if (key == "STACK") return "one\r\nRuntimeException\r\ntwo\r\nthree";
      return std::nullopt;
    });
    EXPECT_EQ(c.value, value.value_or("-")) << c.what;
    EXPECT_EQ(c.name, grouping.name()) << c.what;
  }
}

TEST(Grouping, CountsFramesWithoutWhatDiffersFromBuildToBuild) {
  const TempDir dir;
  Grouping grouping({}, 0, FrameSkips(dir.write("skips", "Main.kt:7")));
  const std::string stack =
      "a.Run(Run.kt:12)\na.Main(Main.kt:7)\na.Main(Main.kt:8)\nlib.so+0x12ab\npc 00000000000012ab b";
  const std::vector<std::string> frames = {"a.Run(Run.kt:*)", "a.Main(Main.kt:*)", "lib.so+*", "pc * b"};
  EXPECT_EQ(frames, grouping.framesOf(stack));
  EXPECT_EQ(std::vector<std::string>(frames.begin(), frames.begin() + 2), grouping.framesOf(stack, 2));
}

}  // namespace
