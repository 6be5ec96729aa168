// Texts of any length and any content on threads with little stack.

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

#include "analysis/analysis.h"
#include "entry/kestrix.h"
#include "rules/match_rule.h"
#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr size_t kMiB = 1024 * 1024;

void RunWithStack(size_t bytes, std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, bytes));
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &work));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

std::string Repeat(const std::string& piece, size_t size) {
  std::string text;
  while (text.size() + piece.size() <= size) text += piece;
  return text;
}

}  // namespace

TEST(SmallStack, FiltersAnyTrace) {
  std::string allBytes;
  for (int b = 0; b < 256; ++b) allBytes += static_cast<char>(b);
  const struct {
    const char* what;
    std::string trace;
    size_t lines;
  } kCases[] = {
      {"one line", std::string(32 * kMiB, 'a'), 1},
      {"4 million lines", Repeat("a\n", 8 * kMiB), 30},
      {"hyphens", std::string(2048, '-'), 1},
      {"bytes", allBytes, 2},
      {"nearly suffixes", Repeat("a-=", kMiB), 1},
      {"suffixes", Repeat("a-==", kMiB), 1},
      {"nearly kernel frames", Repeat("a+0x1/", kMiB), 1},
      {"nearly native frames", Repeat("#1 pc a a+1 ", kMiB), 1},
      {"nearly Java frames", "\v" + Repeat(" at (", kMiB), 1},
      {"blanks", Repeat(" ", kMiB) + "- x", 1},
      {"chained", Repeat("Caused by:\nSuppressed:\nat a\n", kMiB), 30},
      {"ignored", Repeat("libc.so\n", kMiB), 30},
  };
  for (const auto& c : kCases) {
    RunWithStack(128 * 1024, [&c] {
      TextMap result = {{"STACK", c.trace}};
      Kestrix::filtStack(result);
      const std::string& stack = result["STACK"];
      EXPECT_EQ(c.lines, static_cast<size_t>(std::count(stack.begin(), stack.end(), '\n')) + 1) << c.what;
      EXPECT_EQ(64u, result["FINGERPRINT"].size()) << c.what;
    });
  }
}

TEST(SmallStack, AnalysesLongLines) {
  const std::string line(2048, 'a');
  const TempDir dir;
  for (const size_t length : {100 * 1024 * 1UL, 31 * kMiB}) {
    const std::string more(length, 'a');
    const std::string log = dir.write("log", line + "\n" + more + "\n" + line + "\n");
    RunWithStack(kMiB, [&] {
      FeatureFrame frame;
      frame.logPath = log;
      frame.rules = {
          {.num = 3, .name = "r", .depend = "", .keyWords = "@R@^(?:a|a)*$", .command = "segmentRule", .params = {}}};
      frame.rules.front().params = {{"v_all", "(.*)"},         {"v_group", "(a|b)*$"},    {"v_loop", "^((?:a+)+)$"},
                                    {"v_none", "(a|b)*c"},     {"v_some", "a(a*?)a"},     {"v_dots", "a.*a.*a.*b"},
                                    {"v_back", "^(a)\\1{9}$"}, {"v_stack", "@T@(?:a|b)*"}};
      Analysis analysis(1, "event", &frame, {{"ALL", "r.v_all"}, {"STACK", "r.v_stack"}});
      ASSERT_TRUE(analysis.analysisLog());
      std::map<std::string, size_t> recorded;  // bytes over all records of a name
      for (const auto& [name, info] : analysis.getRecords()) recorded[name] += info.line.size() + 1;
      const size_t all = length + 2 * line.size() + 3;
      const std::map<std::string, size_t> expected = {
          {"r.v_all", all}, {"r.v_group", 6}, {"r.v_loop", all}, {"r.v_some", 3}, {"r.v_stack", 3}};
      EXPECT_EQ(expected, recorded);
      EXPECT_EQ(line, analysis.getResult().at("ALL"));
      EXPECT_EQ(line + "\n" + line + "\n", analysis.getResult().at("STACK"));
    });
  }
}

TEST(SmallStack, ComparesPaths) {
  std::string path(kMiB, 'a');
  RunWithStack(kMiB, [&path] {
    std::string out;
    EXPECT_FALSE(MatchRule().isPathMatched(path, "/", "(a|b)*@|@.*", out));
  });
}
