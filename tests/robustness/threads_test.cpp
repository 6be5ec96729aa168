#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <thread>

#include "entry/kestrix.h"
#include "tests/support/rule_text.h"
#include "tests/support/temp_dir.h"
#include "util/string_util.h"

// Eight threads analyse different logs through one directory while its rule files are replaced as a careful writer does
// it, by rename: each call works by the old rules or by the new ones.
TEST(Threads, AnalyseWhileRulesAreReplaced) {
  constexpr size_t kThreads = 8;
  constexpr int kCalls = 40;
  const TempDir dir;
  const auto replace = [&dir](const std::string& name, const std::string& content) {
    dir.write("new", content);
    ASSERT_EQ(0, std::rename(dir.path("new").c_str(), dir.path(name).c_str()));
  };
  const auto replaceRules = [&](const std::string& word) {
    const std::string rules = R"-({"name":"r","keyWords":"@R@^WORD ","v_n":"^WORD (.*)"},
                                  {"name":"s","keyWords":"trace","v_s":"@T@at .*"})-";
    replace("match_rule.json", R"({"featureFrame":{"featureId":"A_anr_1","subcataLog":"log[0-9]","dirOrFile":")" +
                                   dir.path() + R"(","rules":[)" + StringUtil::ReplaceStr(rules, "WORD", word) + "]}}");
    replace("assemble_rule.json", R"({"anr":{"A_anr_1":{"N":"r.v_n","STACK":"s.v_s"}}})");
  };
  replaceRules("pid");
  std::vector<std::thread> threads;
  std::vector<std::set<std::string>> seen(kThreads);
  for (size_t i = 0; i < kThreads; ++i) {
    const std::string number = std::to_string(i);
    const std::string log = dir.write(
        "log" + number, "pid 1" + number + "\ntid 2" + number + "\ntrace\n\tat a.b" + number + "\n\tat c.d\n");
    threads.emplace_back([&dir, &results = seen[i], log] {
      for (int call = 0; call < kCalls; ++call) {
        TextMap result = Kestrix::analysis(log, dir.path(), "anr");
        results.insert(result["N"] + " " + result["FST_FRAME"] + " " + result["SEC_FRAME"]);
      }
    });
  }
  for (int i = 0; i < kCalls; ++i) replaceRules(i % 2 == 0 ? "tid" : "pid");
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < kThreads; ++i) {
    const std::string rest = std::to_string(i) + " a.b" + std::to_string(i) + " c.d";
    for (const std::string& result : seen[i]) EXPECT_TRUE(result == "1" + rest || result == "2" + rest) << result;
  }
}
