#include "entry/kestrix.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"
#include "tests/support/temp_dir.h"

TEST(KestrixAnalysis, RefusesADirectoryThatIsNotThere) {
  TakeLog();
  for (const std::string& dir : Texts{"", "/no/such/dir", std::string(4096, '/')}) {
    EXPECT_EQ(TextMap{}, Kestrix::analysis("/log", dir, "anr"));
    EXPECT_EQ(Texts{"6 analysis: config " + dir + " isn't real path."}, TakeLog());
  }
}

TEST(KestrixAnalysis, ReadsTheRulesOfTheRealDirectoryAtEachCall) {
  TakeLog();
  const TempDir dir;
  const std::string rules = std::filesystem::canonical(dir.path()).string() + "/rules",
                    log = dir.write("log", "pid 1\n");
  std::filesystem::create_directory(rules);
  std::filesystem::create_symlink(rules, dir.path("link"));
  EXPECT_EQ(TextMap{}, Kestrix::analysis("/other", dir.path("link/"), "anr"));
  EXPECT_EQ((Texts{"6 parseMatchRule: unable to parse " + rules + "/match_rule.json file.",
                   "6 parseAssembleRule: unable to parse " + rules + "/assemble_rule.json file.",
                   "6 filtStack: eventinfo empty or can't find STACK"}),
            TakeLog());
  dir.write("rules/match_rule.json", R"({"featureFrame":{"featureId":"A_anr_1", "dirOrFile":")" + log +
                                         R"(", "rules":[{"name":"a", "v_x":"pid (.*)$"}]}})");
  dir.write("rules/assemble_rule.json", R"({"anr":{"A_anr_1":{"PID":"a.v_x"}}})");
  EXPECT_EQ((TextMap{{"PID", "1"}}), Kestrix::analysis("/other", dir.path("link/"), "anr"));
  EXPECT_EQ(TextMap{}, Kestrix::analysis("/other", dir.path("link/"), "jank"));
}

TEST(FiltStack, LeavesAMapWithoutStackAlone) {
  TakeLog();
  for (const TextMap& map : std::vector<TextMap>{{}, {{"STACK", ""}}, {{"STACKS", "at a"}}}) {
    TextMap result = map;
    Kestrix::filtStack(result);
    EXPECT_EQ(map, result);
    EXPECT_EQ(Texts{"6 filtStack: eventinfo empty or can't find STACK"}, TakeLog());
  }
  TextMap result = {{"STACK", "at a\n"}};
  Kestrix::filtStack(result);
  EXPECT_EQ("a", result["STACK"]);
  EXPECT_EQ(Texts{"3 filtStack: start filt stack"}, TakeLog());
}
