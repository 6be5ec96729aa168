#include <gtest/gtest.h>

#include "tests/support/engine.h"
#include "tests/support/temp_dir.h"

TEST(AssembleParam, JoinsTheFirstRecordOfEachName) {
  Engine engine;
  for (const auto& [name, value] : TextMap{{"a.v", "1"}, {"b.v", "2"}, {"e.v", ""}, {"a.v:b.v", "3"}}) {
    engine.setParamRecord(name, {0, value}, 0);
    engine.setParamRecord(name, {0, "second"}, 0);
  }
  const TextMap kValues = {
      {"a.v", "1"},           {"a.v+b.v", "1 2"}, {"b.v:a.v", "2:1"}, {"no+b.v", "2"}, {"b.v+e.v+a.v:b.v", "2 3"},
      {"a.v:e.v:b.v", "1:2"}, {"e.v", ""},        {"no:e.v", ""},     {"", ""},        {"+", ""},
      {"a.v+", "1"},          {" a.v", ""},       {"a.v + b.v", ""}};
  for (const auto& [text, value] : kValues) EXPECT_EQ(value, engine.assembleParam(text)) << text;
  EXPECT_EQ((Texts{"a:b", "c "}), engine.splitAssembleParam("a:b++c "));
  EXPECT_EQ((Texts{"a", "b"}), engine.splitAssembleParam("a:b:"));
  EXPECT_EQ(Texts{""}, engine.splitAssembleParam(""));
}

TEST(Assemble, MakesNoKeyOfAnEmptyValueAndAppendsToTheReason) {
  Engine engine(TextMap{{"A", "a.v"}, {"E", "e.v"}, {"N", "no"}, {"REASON", "a.v:a.v"}});
  engine.setParamRecord("e.v", {}, 0);
  // Each call removes one leading colon, even one that the value brought along.
  for (const auto& [value, reason] : {std::pair(":1", ":1::1"), std::pair("2", "1::1:2:2")}) {
    engine.setParamRecord("a.v", {0, value}, 1);
    engine.assemble();
    EXPECT_EQ((TextMap{{"A", ":1"}, {"REASON", reason}}), engine.getResult());
  }
}

TEST(AssembleTrace, CutsTheStackFromTheRecordedLineOn) {
  const TempDir dir;
  const std::string log = dir.write("log", "at early\nhead\n  at a(b)\nat c\n\nat late\n");
  for (const auto& [position, trace] : std::map<int, std::string>{{9, "at a(b)\nat c\n"}, {24, "at c\n"}, {-9, ""}}) {
    const std::vector<Record> records = {{"b.v", {0, ""}}, {"a.v", {position, ""}}, {"a.v", {0, ""}}};
    EXPECT_EQ(trace, Engine().assembleTrace(log, "a.v", records, "at.*")) << position;
    EXPECT_EQ("", Engine().assembleTrace(log, "no", records, "at.*"));
    EXPECT_EQ("", Engine().assembleTrace(dir.path("missing"), "a.v", records, "at.*"));
  }
}

TEST(SetStackRegex, KeepsTheFirstMarkedPatternOfAName) {
  const TempDir dir;
  Engine engine;
  engine.frame.logPath = dir.write("log", "head\nat a\n");
  engine.setParamRecord("a.v", {5, "value"}, 0);
  engine.setParamRecord("b.v", {0, "B"}, 0);
  for (const char* pattern : {"", "@T", "at.*"}) engine.setStackRegex("a.v", pattern);
  EXPECT_EQ("value B", engine.assembleParam("a.v+b.v"));
  for (const char* pattern : {"a@T@t.*@T@", "@T@other"}) engine.setStackRegex("a.v", pattern);
  EXPECT_EQ("at a\n B", engine.assembleParam("a.v+b.v"));
  dir.write("log", "head\nat changed\n");
  EXPECT_EQ("at changed\n", engine.assembleParam("a.v")) << "the log is read anew";
}
