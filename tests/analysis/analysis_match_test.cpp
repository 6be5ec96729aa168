#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/engine.h"

TEST(IsKeyWordsMatch, JudgesEveryKindOfExpression) {
  const std::tuple<std::string, Texts, Texts> kCases[] = {
      {"", {"", "x"}, {}},
      {"Error", {"an Error"}, {"error", "Erro"}},
      // And: in order, without overlap, not trimmed.
      {"abc@&@def", {"xx abc yy def"}, {"def abc", "abc"}},
      {"aba@&@ba", {"ababa"}, {"abaa"}},
      {"a @&@@&@b", {"a b"}, {"ab"}},
      {"@&@", {"", "x"}, {}},
      // Or, which goes before and.
      {"a@|@b", {"xb", "ba"}, {"c"}},
      {"@|@b", {"b"}, {"c", ""}},
      {"@|@", {}, {"", "@|@"}},
      {"a@&@b@|@c", {"a@&@b", "c"}, {"a b"}},
      {"c@|@a@&@b", {"a@&@b", "c"}, {"a b"}},
      // Regular expression, by its mark at the start only.
      {"@R@^a+$", {"aaa"}, {"aab"}},
      {"@R@", {"", "x"}, {}},
      {"x@R@.", {"-x@R@."}, {"xa", "R@z"}},
      {"@R@a@|@b", {"a@", "@b"}, {"b"}},
  };
  const Engine engine;
  for (const auto& [keyWords, selected, others] : kCases) {
    const FeatureRule rule{0, "a", "", keyWords, "rules", {}};
    for (const std::string& line : selected) EXPECT_TRUE(engine.isKeyWordsMatch(line, rule)) << keyWords << line;
    for (const std::string& line : others) EXPECT_FALSE(engine.isKeyWordsMatch(line, rule)) << keyWords << line;
  }
}

TEST(CheckDepend, IsTrueUntilARecordNameHoldsTheText) {
  Engine engine;
  for (const bool recorded : {false, true}) {
    for (const auto& [depend, met] : {std::pair("", true), std::pair("eCmd.v", recorded), std::pair("cmd", false)}) {
      EXPECT_EQ(!met, engine.checkDepend({0, "a", depend, "", "rules", {}})) << depend << recorded;
    }
    engine.setParamRecord("other.v_x", {0, "cmd"}, 0);
    engine.setParamRecord("LateCmd.v_x", {}, 0);
  }
}

TEST(GetSeekInfo, CutsAtTheFirstMark) {
  for (const auto& [text, rest] : TextMap{{"abc@L@def", "def"}, {"abc", "abc"}, {"@L@", ""}, {"a@L@b@L@c", "b@L@c"}}) {
    std::string out = "old";
    EXPECT_EQ(text != rest, Engine().getSeekInfo(text, out)) << text;
    EXPECT_EQ(rest, out) << text;
  }
}

TEST(GetCursorInfo, MakesTheLineCurrent) {
  Engine engine;
  EXPECT_EQ(0, engine.formatLineFeature("", "").position);
  std::stringstream content("0123456789\nab\ncd");
  std::string line;
  for (const auto& [behind, position] : {std::pair(11, 0), std::pair(14, 11), std::pair(-1, -4)}) {
    std::getline(content, line);
    EXPECT_EQ(behind, std::streamoff(engine.getCursorInfo(content, line)));
    EXPECT_EQ(position, engine.formatLineFeature("text", "unused").position);
  }
  EXPECT_EQ("text", engine.formatLineFeature("text", "unused").line);
}
