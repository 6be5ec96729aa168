#include <gtest/gtest.h>

#include "tests/support/engine.h"

TEST(ParseLineByParam, TakesWhatTheLineHolds) {
  Engine engine;
  const TextMap params = {{"v_a", "(x)?k"},     {"v_b", "k"},    {"v_c", "@T@("},
                          {"v_d", "x@L@k=(.)"}, {"v_e", "(no)"}, {"v_f", "(..)(.)"}};
  FeatureRule rule{0, "a", "", "", "rules", params}, empty, segment{0, "b", "", "", "segmentRule", {{"v_a", "k"}}};
  EXPECT_FALSE(engine.parseLineByParam("k=1", rule));
  EXPECT_EQ(" a.v_a@0= a.v_b@0= a.v_c@0= a.v_d@0=1 a.v_f@0=k=", engine.records());
  EXPECT_EQ((TextMap{{"v_d", "x@L@k=(.)"}, {"v_e", "(no)"}}), rule.params);
  EXPECT_FALSE(engine.parseLineByParam("k=2 no", rule)) << "a later value may still come";
  EXPECT_EQ(" a.v_a@0= a.v_b@0= a.v_c@0= a.v_f@0=k= a.v_d@0=2 a.v_e@0=no", engine.records());
  EXPECT_TRUE(engine.parseLineByParam("", empty));
  EXPECT_FALSE(engine.parseLineByParam("k", segment));
}

TEST(SetParamRecord, ReplacesTheFirstOfTheNameInModeOneOnly) {
  Engine engine;
  for (const int mode : {1, 0, 2, 1}) {
    engine.setParamRecord("a", {mode, std::to_string(engine.getRecords().size())}, mode);
    if (mode == 0) engine.setParamRecord("aa", {}, 1);
  }
  EXPECT_EQ(" a@0=1 aa@0= a@2=3 a@1=4", engine.records());
}

TEST(CheckVariable, WantsBothMarksInOneText) {
  const std::list<FeatureRule> kHolding = {
      {0, "", "", "x}@ @{", "", {}}, {0, "", "@{a}@", "", "", {}}, {0, "", "", "", "", {{"v", "@{}@"}}}};
  const std::list<FeatureRule> kOthers = {{0, "", "}@", "@{", "", {{"v", "@{"}}},
                                          {0, "@{a}@", "", "", "@{a}@", {{"@{a}@", "x"}}}};
  for (const FeatureRule& rule : kHolding)
    EXPECT_TRUE(Engine().checkVariable(rule, "@{", "}@")) << RuleTexts({rule})[0];
  for (const FeatureRule& rule : kOthers)
    EXPECT_FALSE(Engine().checkVariable(rule, "@{", "}@")) << RuleTexts({rule})[0];
  EXPECT_TRUE(Engine().checkVariable(kOthers.front(), "@{", ""));
}

TEST(ReplaceVariable, ReplacesTheFirstOccurrence) {
  for (const auto& [source, replaced] : TextMap{{"a@{v}@b@{v}@", "a1b@{v}@"}, {"@{v}", "@{v}"}, {"", ""}}) {
    std::string out = "old", inPlace = source;
    EXPECT_EQ(source != replaced, Engine().replaceVariable(source, "@{v}@", "1", out)) << source;
    Engine().replaceVariable(inPlace, "@{v}@", "1", inPlace);
    EXPECT_EQ((Texts{replaced, replaced}), (Texts{out, inPlace}));
  }
  std::string out;
  EXPECT_TRUE(Engine().replaceVariable("abc", "", "1", out));
  EXPECT_EQ("1abc", out);
}

TEST(CheckVariableParam, FillsOneOccurrenceForEachRecord) {
  Engine engine;
  FeatureRule rule{0, "r", "@{a.v}@", "@{a.v}@-@{a.v}@", "rules", {{"v_x", "@{b.v}@ @{a.v}@"}}}, late = rule;
  engine.setParamRecord("a.v", {0, "1"}, 0);
  EXPECT_FALSE(engine.checkVariableParam(rule));
  EXPECT_EQ(Texts{"rules 0 r [1-@{a.v}@] [1] v_x=@{b.v}@ 1"}, RuleTexts({rule}));
  engine.setParamRecord("a.v", {0, "2"}, 0);
  engine.setParamRecord("b.v", {0, "3"}, 0);
  EXPECT_TRUE(engine.checkVariableParam(rule) && engine.checkVariableParam(late));
  EXPECT_EQ((Texts{"rules 0 r [1-1] [1] v_x=3 1", "rules 0 r [1-2] [1] v_x=3 1"}), RuleTexts({rule, late}));
}

TEST(CheckVariableParam, FillsNoTextPastItsLimit) {
  Engine engine;
  engine.setParamRecord("a.v_x", {0, std::string(1000, 'x') + "@{a.v_x}@"}, 0);
  FeatureRule rule;
  rule.keyWords = "@{a.v_x}@";
  for (int line = 0; line < 100; ++line) EXPECT_FALSE(engine.checkVariableParam(rule));
  EXPECT_EQ(66009u, rule.keyWords.size()) << "the first size over 64 KiB";

  engine.setParamRecord("b.v_x", {0, "1"}, 0);
  for (const size_t size : {65536u, 65537u}) {
    const std::string text = std::string(size - 9, 'k') + "@{b.v_x}@";
    FeatureRule full{0, "r", "", text, "rules", {}};
    EXPECT_EQ(size == 65536, engine.checkVariableParam(full));
    EXPECT_EQ(size == 65536 ? std::string(size - 9, 'k') + "1" : text, full.keyWords);
  }
}
