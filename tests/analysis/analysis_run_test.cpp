#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/engine.h"
#include "tests/support/log_fake.h"
#include "tests/support/temp_dir.h"

namespace {

const TextMap kValue = {{"v_x", "[kc](.)"}};
const TextMap kTwo = {{"v_a", "a(.)"}, {"v_b", "b(.)"}};
const TextMap kLast = {{"v_l", "x@L@k(.)"}};

FeatureRule Plain(const std::string& name, const TextMap& params = kValue, const std::string& keyWords = "k",
                  const std::string& depend = "") {
  return {0, name, depend, keyWords, "rules", params};
}

FeatureRule Segment(const std::string& name = "s", int32_t num = 0) {
  return {num, name, "", "k", "segmentRule", kValue};
}

}  // namespace

TEST(RawInfoPosition, RecordsValuesAndErasesWhatIsSpent) {
  const std::string pad(3000, 'x'), longest(2048, 'k');
  const FeatureRule a = Plain("a"), d = Plain("d", {{"v_x", "d(.)"}}, "d"), s = Segment(), four = Segment("s", 4),
                    one = Segment("LayerOneCmd"), two = Segment("xLayerTwoCmd");
  const FeatureRule late = Plain("b", {}, "@{a.v_l}@!", "d.");  // takes the value of the time when it may run
  // The last column lists the rules that are left, each with the number of its parameters.
  const std::tuple<const char*, int32_t, std::string, std::list<FeatureRule>, std::string, std::string> kCases[] = {
      {"spent: the next rule", 0, "k1\nk2\n", {a, s}, " a.v_x@0=1 s.v_x@3=2", " s1"},
      {"spent without parameters", 0, "k1\nk2\n", {Plain("a", {}), s}, " s.v_x@3=2", " s1"},
      {"the first takes all", 0, "k1\nk2\n", {s, a}, " s.v_x@0=1 s.v_x@3=2", " s1 a1"},
      {"segment rule, no parameters", 0, "k1\n", {{0, "e", "", "k", "segmentRule", {}}, a}, "", " e0 a1"},
      {"two found on two lines", 0, "k a1\nk a2 b3\nk\n", {Plain("a", kTwo)}, " a.v_a@0=1 a.v_b@5=3", ""},
      {"one not found", 0, "k a1\nk a2\n", {Plain("a", kTwo)}, " a.v_a@0=1", " a1"},
      {"last value", 0, "k1\nk2\n", {Plain("a", kLast), s}, " a.v_l@3=2", " a1 s1"},
      {"dependency", 0, "k1\nk2\n", {Plain("b", kValue, "k", "d.v"), Plain("xd")}, " xd.v_x@0=1 b.v_x@3=2", ""},
      {"never met", 0, "k1\nk2\n", {Plain("b", {}, "k", "@{s.v_x}@"), s}, " s.v_x@0=1 s.v_x@3=2", " b0 s1"},
      {"variable", 0, "k1\nk2\nk2!\n1!\n", {Plain("b", {}, "@{a.v_l}@!"), Plain("a", kLast)}, " a.v_l@6=2", " a1"},
      {"late", 0, "k1\nk2\nd3\n1!\n", {late, Plain("a", kLast), d}, " a.v_l@3=2 d.v_x@6=3", " b0 a1"},
      {"bad keywords", 0, "k1\n", {Plain("b", {}, "@R@(", "no"), s}, " s.v_x@0=1", " b0 s1"},
      {"bad parameter", 0, "k1\n", {Plain("b", {{"v_x", "("}}, "no"), s}, " s.v_x@0=1", " b1 s1"},
      {"default limit", 0, std::string(31999, '\n') + "k1\n", {s}, " s.v_x@31999=1", " s1"},
      {"past the default limit", -1, std::string(32000, '\n') + "k1\n", {s}, "", " s1"},
      {"limit 1 at the start", 1, "x\nk1\n", {s}, "", " s1"},
      {"limit 1", 1, "k1\nk2\n\nk3\n", {s}, " s.v_x@0=1 s.v_x@3=2", " s1"},
      {"limit 2 from the last match", 2, "x\nk1\nx\nk2\nx\nx\nk3\n", {s}, " s.v_x@2=1 s.v_x@7=2", " s1"},
      {"longest line", 1, longest + "\nk1\n", {s}, " s.v_x@0=k s.v_x@2049=1", " s1"},
      {"one byte more", 1, longest + "k\nk1\n", {s}, " s.v_x@2050=1", " s1"},
      {"last line without line feed", 0, "xx\nk1", {s}, " s.v_x@-4=1", " s1"},
      {"segment", 1, "k1\n\tk2\n k3\n\nk4\n", {one}, " LayerOneCmd.v_x@0=1 LayerOneCmd.v_x@12=4", " LayerOneCmd1"},
      {"longer name", 1, "k1\n\nk2\n", {two}, " xLayerTwoCmd.v_x@0=1 xLayerTwoCmd.v_x@4=2", " xLayerTwoCmd1"},
      {"segment, carriage return", 1, "k1\n\r\nk2\n", {one}, " LayerOneCmd.v_x@0=1", " LayerOneCmd1"},
      {"no segment", 1, "k1\n\tk2\n", {Segment("LayerCmd")}, " LayerCmd.v_x@0=1 LayerCmd.v_x@3=2", " LayerCmd1"},
      {"num 1", 0, "k1\nc2\nk3\n", {Segment("s", 1)}, " s.v_x@0=1 s.v_x@6=3", " s1"},
      {"num 4", 2, "k1\n\nc3\nc4" + pad + "\nc5\nk6", {four}, " s.v_x@0=1 s.v_x@4=3 s.v_x@7=4 s.v_x@-4=6", " s1"},
  };
  for (const auto& [what, skip, log, rules, records, left] : kCases) {
    Engine engine;
    engine.frame.rules = rules;
    engine.frame.skip = skip;
    std::stringstream content(log);
    engine.rawInfoPosition(content);
    std::string names;
    for (const FeatureRule& rule : engine.frame.rules) names += " " + rule.name + std::to_string(rule.params.size());
    EXPECT_EQ((Texts{records, left}), (Texts{engine.records(), names})) << what;
  }
}

TEST(CheckSegmentStart, StaysStarted) {
  bool started = true;
  EXPECT_TRUE(Engine().checkSegmentStart(started) && started);
  started = false;
  EXPECT_FALSE(Engine().checkSegmentStart(started) || started);
}

TEST(AnalysisLog, TellsWhatBecameOfTheLog) {
  const TempDir dir;
  const std::string missing = dir.path("missing"), empty = dir.write("empty", ""), log = dir.write("log", "k1\n");
  for (const auto& [path, afterMatch, atEnd] : {std::tuple(log, -1, -1), {empty, -1, 2}, {missing, 1, 2}}) {
    TakeLog();
    Engine engine(TextMap{{"K", "s.v_x"}});
    engine.frame.logPath = path;
    engine.frame.rules = {Segment()};
    engine.match();
    EXPECT_EQ(afterMatch, engine.getStatus()) << path;
    EXPECT_EQ(atEnd == -1, engine.analysisLog()) << path;
    EXPECT_EQ(atEnd, engine.getStatus()) << path;
    EXPECT_EQ(atEnd == -1 ? 1u : 0u, engine.getResult().count("K")) << path;
  }
  const std::string unreadable = "5 match: <7> readfile to buffer failed.";
  EXPECT_EQ((Texts{unreadable, "4 analysisLog: <7> analysis begin: path(" + missing + "), type(anr).", unreadable,
                   "3 ~Analysis: <7> Analysis::~Analysis."}),
            TakeLog());
}

TEST(KeepNeededRecords, ChangesNoResult) {
  const TempDir dir;
  const FeatureRule all = {0, "a", "", "k", "segmentRule", {{"v_x", "k(.*)"}}};
  const FeatureRule last = {0, "a", "", "l", "rules", {{"v_x", "@L@l(.*)"}}};
  const FeatureRule met = {0, "d", "", "d", "rules", {{"v_x", "d"}}};
  const auto takes = [](const std::string& keyWords) {
    return FeatureRule{0, "b", "d.", keyWords, "rules", {{"v_x", "(.*)"}}};
  };
  // So many values for "@L@" that the next ones are put off.
  std::string many, overlong = "l" + std::string(3000, 'x') + "\n";
  for (int i = 10; i < 30; ++i) many += "l" + std::to_string(i) + "\n";
  const FeatureRule metByLast = {0, "d", "", "d", "rules", {{"v_x", "@L@d"}}};
  const FeatureRule lastToo = {0, "a", "", "m", "rules", {{"v_x", "@L@m(.*)"}}};
  const FeatureRule lastOfTwo = {2, "a", "", "l", "segmentRule", {{"v_x", "@L@l(.*)"}}};
  const FeatureRule lastAndPlain = {0, "a", "", "l", "rules", {{"v_x", "@L@l(.*)"}, {"v_y", "l2(.*)"}}};
  const struct {
    const char* what;
    std::list<FeatureRule> rules;
    std::string log;
    TextMap result;
    bool keepsAll;  // nothing less gives the result
  } kCases[] = {
      {"the first", {all}, "k1\nk2\nk3\n", {{"A", "1"}}, false},
      {"uncovered", {last, all}, "k1\nk2\nk3\nk4\nl5\nl6\n", {{"A", "3"}}, true},
      {"never covered", {last}, "l1\nl2\nl3\n", {{"A", "3"}}, true},
      {"a variable once", {all, met, takes("@{a.v_x}@!")}, "k1\nk2\nd\nx1!\n", {{"A", "1"}, {"B", "x1!"}}, false},
      {"three times",
       {all, met, takes("@{a.v_x}@@{a.v_x}@@{a.v_x}@")},
       "k1\nk2\nk3\nk4\nd\nx123\n",
       {{"A", "1"}, {"B", "x123"}},
       false},
      {"values with variables",
       {all, met, takes("@{a.v_x}@!")},
       "k@{a.v_x}@\nk@{a.v_x}@\nk3\nk4\nd\nx3!\n",
       {{"A", "@{a.v_x}@"}, {"B", "x3!"}},
       true},
      {"put off", {last}, many + "l\nlx\n", {{"A", "x"}}, true},
      {"a dependency is met by one put off",
       {last, metByLast, takes("x")},
       many + "d\nx1\n",
       {{"A", "29"}, {"B", "x1"}},
       false},
      {"put off for two rules", {last, lastToo}, many + "m1\nl2\nm3\n", {{"A", "3"}}, true},
      {"put off beside a value", {lastAndPlain}, many, {{"A", "29"}}, false},
      {"put off on spanned lines", {lastOfTwo}, many + "l1\n" + overlong, {{"A", std::string(3000, 'x')}}, true},
      {"uncovered by one put off",
       {last, {0, "a", "", "k", "rules", {{"v_x", "k(.*)"}}}},
       "k1\n" + many,
       {{"A", "29"}},
       true},
      {"uncovers after many",
       {last, {0, "a", "", "k", "rules", {{"v_x", "k(.*)"}}}},
       many + "k1\nl2\n",
       {{"A", "1"}},
       true},
      {"no template asks", {Plain("c"), {0, "c", "", "k", "segmentRule", kValue}}, "k1\nk2\nk3\n", {}, false},
  };
  for (const auto& c : kCases) {
    size_t records[2] = {};
    for (const bool keepsNeeded : {false, true}) {
      Engine engine(TextMap{{"A", "a.v_x"}, {"B", "b.v_x"}});
      engine.frame.rules = c.rules;
      engine.frame.logPath = dir.write("log", c.log);
      if (keepsNeeded) engine.keepNeededRecords();
      EXPECT_TRUE(engine.analysisLog()) << c.what;
      EXPECT_EQ(c.result, engine.getResult()) << c.what << keepsNeeded;
      records[keepsNeeded] = engine.getRecords().size();
    }
    EXPECT_EQ(c.keepsAll, records[0] == records[1]) << c.what;
  }
}

TEST(RawInfoPositionDeathTest, InvalidExpressionsEndTheProcessWhereTheyAreApplied) {
  const auto scan = [](const FeatureRule& rule) noexcept {
    Engine engine;
    engine.frame.rules = {rule};
    std::stringstream content("k\n");
    engine.rawInfoPosition(content);
  };
  scan(Plain("no line is selected", {{"v_x", "("}}, "other"));
  EXPECT_DEATH(scan(Plain("a", {{"v_x", "("}})), "");
  EXPECT_DEATH(scan(Plain("a", {}, "@R@(")), "");
  EXPECT_DEATH(scan(Plain("no line would give the value", {{"v_x", "other"}}, "@R@(")), "");
}
