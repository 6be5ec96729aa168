#include <gtest/gtest.h>

#include <tuple>

#include "rules/match_rule.h"
#include "tests/support/rule_text.h"
#include "tests/support/temp_dir.h"

TEST(IsFeatureMatched, TakesAnIdForItsMiddlePartOnly) {
  const TextMap kTypes = {{"P_anr_01", "anr"}, {"P_sys_anr_3", "sys_anr"}, {"P_anr", "anr"},   {"P", "none"},
                          {"P__1", ""},        {"P_anr_1_2", "anr_1"},     {"P_Anr_1", "Anr"}, {"_anr_", "anr"},
                          {"anr_1", "1"}};
  for (const auto& [id, type] : kTypes) {
    for (const auto& [otherId, other] : kTypes) {
      EXPECT_EQ(type == other, MatchRule().isFeatureMatched(other, id)) << id << " for " << other;
    }
  }
}

TEST(IsPathMatched, FollowsTheAlternativesAndTellsTheLastCandidate) {
  const TempDir dir;
  for (const char* name : {"anr", "aXb", "a+b"}) std::filesystem::create_directory(dir.path(name));
  const std::string base = dir.path(), log = dir.write("anr/anr_1", "");
  const std::string odd = dir.write("aXb/log", ""), plus = dir.write("a+b/log", "");
  const std::tuple<const char*, std::string, std::string, std::string, bool, std::string> kCases[] = {
      {"a fixed file, whatever the log", "/other", log, "", true, log},
      {"no fixed file", log, base + "/none", "", false, base + "/none"},
      {"pattern in the last segment", log, base, "anr/anr_.*", true, log},
      {"slash behind the directory, empty segments", log, base + "/", "/anr//anr_[0-9]", true, log},
      {"only a part of the name", log, base, "anr/anr", false, base + "/anr/anr"},
      {"no such file", base + "/anr/anr_2", base, "anr/anr_.*", false, base + "/anr/anr_2"},
      {"another file that exists", "/other", base, "anr/anr_1", false, log},
      {"second alternative", log, base, "tomb/.*@|@anr/.*", true, log},
      {"a bad expression behind the one that matches", log, base, "anr/.*@|@(", true, log},
      {"no alternative", log, base, "anr/x@|@tomb/y", false, base + "/tomb/y"},
      {"empty alternatives", log, base, "@|@@|@", false, log},
      {"a segment that takes the whole path too early", log, base, ".*/anr_1", false, log + "/anr_1"},
      {"characters of the directory are pattern", odd, base + "/a.b", "lo.", true, odd},
      {"a directory that does not match itself", plus, base + "/a+b", "lo.", false, base + "/a+b/lo."},
      {"the same, name written out", plus, base + "/a+b", "log", true, plus},
  };
  for (const auto& [what, logPath, dirOrFile, subcataLog, matched, out] : kCases) {
    std::string path = "old";
    EXPECT_EQ(matched, MatchRule().isPathMatched(logPath, dirOrFile, subcataLog, path)) << what;
    EXPECT_EQ(out, path) << what;
  }
}
