#include "entry/kestrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "entry/compiled_rules.h"
#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"
#include "tests/support/run_notes.h"
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

TEST(CompiledRules, TellsWhatIsDecided) {
  const TempDir dir;
  const std::string log = dir.write("log", "pid 1\n" + std::string(2049, 'x') + "\ncmd\n a\nkill 1 x\nkill 2 y\nend");
  dir.write("match_rule.json", R"j({"featureFrame":{"featureId":"A_anr_1,B_anr_2", "dirOrFile":")j" + log + R"j(",
    "rules":[{"name":"k", "keyWords":"kill @{p.v_x}@", "depend":"Cmd"},
             {"name":"p", "v_x":"pid (.*)", "v_s":"@T@ a"},
             {"name":"LayerOneCmd", "keyWords":"cmd", "v_c":"(c)"}],
    "segmentRule":[{"name":"s", "keyWords":"kill", "num":9, "v_y":"(y)"}]}})j");
  dir.write("assemble_rule.json", R"({"anr":{"A_anr_1":{"PID":"p.v_x+no.v_x", "STACK":"p.v_s"}}})");
  RunNotes told;
  const TextMap result = CompiledRules(dir.path()).analysis({"/other"}, "anr", &told);
  EXPECT_EQ(Kestrix::analysis("/other", dir.path(), "anr"), result);
  // Two ids of an entry: the second one's frame has the rules twice, and no template.
  const auto second = std::find(told.lines.begin(), told.lines.end(), "run B_anr_2 of 8 rules");
  ASSERT_NE(told.lines.end(), second);
  EXPECT_EQ((Texts{"run A_anr_1 of 4 rules",
                   "0 examined pid 1",
                   "  k waits with kill @{p.v_x}@",
                   "  p selects ",
                   "  p.v_s= at 0",
                   "  p.v_x=1 at 4",
                   "  p spent",
                   "6 overlong xxxxxxxxx",
                   "2056 examined cmd",
                   "  k waits with kill @{p.v_x}@",
                   "  LayerOneCmd selects cmd",
                   "  LayerOneCmd.v_c=c at 0",
                   "  LayerOneCmd spent",
                   "2060 indented  a",
                   "2063 examined kill 1 x",
                   "  k selects kill 1",
                   "  k spent",
                   "2072 examined kill 2 y",
                   "  s selects kill",
                   "  s.v_y=y at 7",
                   "2081 spanned end",
                   "  s.v_y not found",
                   "end of log",
                   "  p.v_x gives 1",
                   "  no.v_x not there",
                   "PID by p.v_x+no.v_x is 1",
                   "  p.v_s gives  a\n",
                   "STACK by p.v_s is  a\n"}),
            Texts(told.lines.begin(), second));
  EXPECT_EQ("merged 2", told.lines.back());
}

TEST(CompiledRules, ReadsAStandInForALogOfTheDevice) {
  const TempDir dir;
  const std::string log = dir.write("log", "pid 1\n"), other = dir.write("other", "pid 2\n");
  const auto entry = [](const std::string& id, const std::string& path) {
    return "\"featureFrame" + id + "\":{\"featureId\":\"" + id + "_anr_1," + id + "_anr_2\"," + path +
           R"(,"rules":[{"name":"a", "v_x":"pid (.*)$", "v_s":"@T@pid"}]})";
  };
  dir.write("match_rule.json", "{" + entry("A", R"("dirOrFile":"/data/anr","subcataLog":"anr_.*")") + "," +
                                   entry("B", "\"dirOrFile\":\"" + other + "\"") + "," +
                                   entry("C", R"("dirOrFile":"/data/anr/anr_1.txt")") + "}");
  dir.write("assemble_rule.json", R"({"anr":{"A_anr_2":{"A":"a.v_x", "STACK":"a.v_s"}, "B_anr_1":{"B":"a.v_x"},
                                             "C_anr_1":{"C":"a.v_x"}}})");
  const struct {
    const char* what;
    AnalyzedLog log;
    Texts keys;
  } kCases[] = {
      {"nothing stands in", {"/data/anr/anr_1.txt"}, {"B"}},
      {"path and file fit", {"/data/anr/anr_1.txt", log}, {"A", "C", "FINGERPRINT", "FST_FRAME", "STACK"}},
      {"a path of one entry", {"/data/anr/anr_2.txt", log}, {"A", "FINGERPRINT", "FST_FRAME", "STACK"}},
      {"a path of none; files here do not count", {"/data/tombstones/anr_1.txt", log}, {}},
  };
  for (const auto& c : kCases) {
    Texts keys;
    for (const auto& [key, value] : CompiledRules(dir.path()).analysis(c.log, "anr", nullptr)) keys.push_back(key);
    EXPECT_EQ(c.keys, keys) << c.what;
  }
}

TEST(KestrixAnalysis, LeavesOutPiledRulesThatCannotComeIntoPlayOnly) {
  const TempDir dir;
  Texts lines;
  for (int i = 0; i < 8; ++i) lines.push_back(i % 3 == 0 ? "a 1 b" : i % 3 == 1 ? "b 2 c" : "c 3 a");
  const std::string ids = "F_anr_1,F_anr_2,F_anr_3,F_anr_4,F_anr_5,F_anr_1,F_anr_6";
  Json::Value templates;
  for (char id = '1'; id <= '6'; ++id) {
    for (const char* record : {"a.v_x", "b.v_x", "c.v_x"}) {
      templates["anr"][std::string("F_anr_") + id][id + std::string(record)] = record;
    }
  }
  dir.write("assemble_rule.json", templates.toStyledString());
  const std::string rules = R"json([{"name":"a","keyWords":"a","v_x":"@L@\\d"},
      {"name":"b","keyWords":"b","v_x":"(\\d)"},
      {"name":"c","depend":"b.","keyWords":"@{b.v_x}@","v_x":"(\\w)$"}])json";
  dir.write("match_rule.json", R"({"featureFrame":{"featureId":")" + ids + R"(","dirOrFile":")" + dir.path("log") +
                                   R"(","rules":)" + rules + "}}");
  std::string log;
  for (size_t count = 0; count <= lines.size(); ++count) {
    dir.write("log", log);
    TakeLog();
    RunNotes whole;
    const TextMap expected = CompiledRules(dir.path()).analysis({"/log"}, "anr", &whole);
    const Texts expectedLog = TakeLog();
    EXPECT_EQ(expected, Kestrix::analysis("/log", dir.path(), "anr")) << log;
    EXPECT_EQ(expectedLog, TakeLog()) << log;
    if (count < lines.size()) log += lines[count] + "\n";
  }
}
