#include "rules/match_rule.h"

#include <gtest/gtest.h>

#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"

TEST(ParseSegmentFrame, KeepsTheFirstOfANameAndWantsKeyWords) {
  MatchRule rule;
  rule.parseSegmentFrame(ParseJson(R"({"segmentFrame":[{"name":"a","keyWords":"k","desc":"d"},"text",
      {"name":"a","keyWords":"l"}, {"name":"b","desc":"d"}, {"keyWords":"k"}, {"name":"c","keyWords":7}]})"));
  for (const char* odd : {R"({"segmentFrame":{"name":"z","keyWords":"k"}})", "[{}]"}) {
    rule.parseSegmentFrame(ParseJson(odd));
  }
  EXPECT_EQ((std::map<std::string, Texts>{{"a", {"k", "d"}}, {"c", {"7", ""}}}), rule.getSegmentFrame());
}

TEST(ParseRuleOverRoot, PilesUpTheRulesOfAnEntryAndKeepsTheFirstFrame) {
  const std::string root = R"({"\u00e9featureFrame":{"dirOrFile":"/","featureId":"E_anr_1"},
      "b_featureFrame":{"dirOrFile":"/","featureId":"B_anr_1,X_anr_1"},
      "a_featureFrame":{"dirOrFile":"/","featureId":"A_anr_1,,Q_jank_1, X_anr_1,X_anr_1", "skip":3, "segmentType":"t",
          "segmentStart":["a",1], "segmentStack":{"a":1}, "rules":[{"name":"r"}], "segmentRule":[{"name":"s"}]},
      "ZfeatureFrameZ":{"dirOrFile":"/","featureId":"Z_anr_1"}, "Z":{"dirOrFile":"/","featureId":"Z_anr_2"},
      "featureFrame1":"text", "featureFrame2":{"featureId":"N_anr_1"}, "featureFrame3":{"dirOrFile":"/"}})";
  MatchRule rule;
  TakeLog();
  for (const std::string& text : Texts{"[{}]", "{}", root}) rule.parseRule("/log", ParseJson(text), "anr");
  EXPECT_EQ((Texts{"Z_anr_1", "A_anr_1", " X_anr_1", "X_anr_1", "B_anr_1", "X_anr_1", "E_anr_1"}),
            rule.getFeatureIds());
  const FeatureFrame second = rule.getFeatureFrames()[" X_anr_1"];
  const std::string r = "rules 0 r [] []", s = "segmentRule 0 s [] []";
  EXPECT_EQ((Texts{r, s, r, s}), RuleTexts(second.rules));
  EXPECT_EQ((Texts{r, s, r, s, r, s}), RuleTexts(rule.getFeatureFrames()["X_anr_1"].rules));
  EXPECT_EQ((Texts{"/", "t", "3"}), (Texts{second.logPath, second.segmentType, std::to_string(second.skip)}));
  EXPECT_EQ((Texts{"a", "1"}), second.segmentStart);
  Texts log = TakeLog();
  std::erase_if(log, [](const std::string& line) { return line[0] != '6'; });
  EXPECT_EQ(Texts{"6 splitFeatureIds: failed to get member featureId."}, log);
}

TEST(ParseRuleOverEntry, ReadsRulesThenSegmentRules) {
  const std::string entry =
      R"({"segmentRule":[{"name":"s","num":2}], "rules":[{"name":"b","num":1}, {"name":"a","num":-1},
      {"name":5,"keyWords":true,"depend":null,"v_a":1.5,"v_b":null,"num":false},
      {"v_":"1","v_pid":"2","xv_a":"3","V_a":"4","value":"5"}]})";
  std::list<FeatureRule> rules;
  TakeLog();
  for (const std::string& text : Texts{entry, R"({"segmentRule":[{"name":"without rules"}]})",
                                       R"({"rules":{"name":"no array"}, "segmentRule":"no array"})",
                                       R"({"rules":null, "segmentRule":[{"name":"null counts as there"}]})"}) {
    MatchRule().parseRule(ParseJson(text), rules);
  }
  EXPECT_EQ((Texts{"rules -1 a [] []", "rules 0 5 [true] [] v_a=1.5 v_b=", "rules 0  [] [] v_=1 v_pid=2",
                   "segmentRule 2 s [] []", "segmentRule 0 null counts as there [] []"}),
            RuleTexts(rules));
  EXPECT_EQ(Texts{"6 parseRule: rule command can't have num."}, TakeLog());
}

TEST(MatchRule, ReadsFiftyElementsOfAnArrayAndLogsTheCutOnce) {
  const std::string cut = ": json size too large, limit to 50.";
  const Texts logged = {"4 parseSegmentFrame" + cut, "4 parseRule" + cut, "4 parseRule" + cut, "4 getJsonArray" + cut};
  for (const Json::ArrayIndex size : {50u, 51u}) {
    Json::Value root;
    for (Json::ArrayIndex i = 0; i < size; ++i) root["segmentFrame"][i]["name"] = root["texts"][i] = i;
    for (Json::Value& element : root["segmentFrame"]) element["keyWords"] = "k";
    root["rules"] = root["segmentRule"] = root["segmentFrame"];
    MatchRule rule;
    std::list<FeatureRule> rules;
    TakeLog();
    rule.parseSegmentFrame(root);
    rule.parseRule(root, rules);
    const std::vector<size_t> sizes = {rule.getSegmentFrame().size(), rules.size(),
                                       rule.getJsonArray(root, "texts").size()};
    EXPECT_EQ((std::vector<size_t>{50, 100, 50}), sizes);
    EXPECT_EQ("49", rules.back().name);
    EXPECT_EQ(size == 50 ? Texts{} : logged, TakeLog());
  }
}

TEST(ParseRuleParam, TakesAllForAnEmptyPrefixAndKeepsWhatIsThere) {
  TextMap params = {{"a", "old"}};
  MatchRule().parseRuleParam(ParseJson(R"({"a":"new","b":2})"), params, "");
  EXPECT_EQ((TextMap{{"a", "old"}, {"b", "2"}}), params);
}
