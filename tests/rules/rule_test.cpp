#include "rules/rule.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"
#include "tests/support/temp_dir.h"

namespace {

Texts Unparsed(const std::string& dir) {
  return {"6 parseMatchRule: unable to parse " + dir + "/match_rule.json file.",
          "6 parseAssembleRule: unable to parse " + dir + "/assemble_rule.json file."};
}

}  // namespace

TEST(Rule, LooksForFilesInTheGivenDirectoryOrTheDefaultOne) {
  TakeLog();
  const TempDir pipes, directories;
  for (const char* name : {"match_rule.json", "assemble_rule.json"}) {
    ASSERT_EQ(0, mkfifo(pipes.path(name).c_str(), 0600));
    std::filesystem::create_directory(directories.path(name));
  }
  for (const std::string& dir : Texts{"", "/", "/none/", pipes.path(), directories.path()}) {
    Rule("/log", dir, "anr").parseRule();
    EXPECT_EQ(Unparsed(dir.empty() ? "/system_ext/etc" : dir), TakeLog());
  }
}

TEST(Rule, ReplacesWhatAnEarlierLoadLeft) {
  const TempDir dir;
  const std::string both = R"({"segmentFrame":[{"name":"a","keyWords":"k"}], "anr":{"A_anr_1":{"K":"a.v_x"}},
      "featureFrame":{"dirOrFile":"/", "featureId":"A_anr_1", "rules":[{"name":"a"}]}})";
  Rule rule("/log", dir.path(), "anr");
  const auto load = [&](const std::string& content) {
    dir.write("match_rule.json", content);
    dir.write("assemble_rule.json", content);
    TakeLog();
    rule.parseRule();
  };
  for (const char* blank : {"", " "}) {
    load(both + blank);
    EXPECT_EQ(1u, rule.getAssembleRule().size());
    EXPECT_EQ(1u, rule.getSegmentFrame().size());
    EXPECT_EQ(Texts{"rules 0 a [] []"}, RuleTexts(rule.getMatchRule()["A_anr_1"].rules));
  }
  Rule("/log", dir.path(), "an").parseRule();
  EXPECT_EQ(Unparsed(dir.path())[1], TakeLog().back()) << "no section for the event type";
  for (const std::string& odd : Texts{"", both.substr(0, both.size() - 1), "/* */" + both, "\"scalar\""}) {
    load(odd);
    EXPECT_EQ(Unparsed(dir.path()), TakeLog()) << odd;
    EXPECT_TRUE(rule.getMatchRule().empty() && rule.getSegmentFrame().empty() && rule.getAssembleRule().empty());
  }
}
