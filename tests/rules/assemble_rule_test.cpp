#include "rules/assemble_rule.h"

#include <gtest/gtest.h>

#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"

TEST(ComparePrio, ComparesBytesBehindTheFirstUnderscore) {
  const Texts kSorted = {"Z_",      "Y_Anr",  "X_anr", "W_anr_1", "V_anr_10",
                         "U_anr_2", "T_nona", "none",  "S_nonf",  "R_\xc3"};
  for (size_t i = 0; i < kSorted.size(); ++i) {
    for (size_t j = 0; j < kSorted.size(); ++j) {
      EXPECT_EQ(i < j, AssembleRule::comparePrio(kSorted[i], kSorted[j])) << kSorted[i] << " before " << kSorted[j];
    }
  }
  EXPECT_FALSE(AssembleRule::comparePrio("A_anr_1", "B_anr_1")) << "a tie";
}

TEST(ParseRuleOfASection, GivesEveryIdAnEntryInPriorityOrder) {
  TakeLog();
  AssembleRule rule;
  Texts ids = {"A_anr_9", "C_anr_2", "B_anr_10", "D_anr_3", "A_anr_9"};
  rule.parseRule(ParseJson(R"({"A_anr_9":{"K":"a.v_x","N":7,"T":true,"Z":null}, "D_anr_3":["text"]})"), "", ids);
  EXPECT_EQ((Texts{"B_anr_10", "C_anr_2", "D_anr_3", "A_anr_9", "A_anr_9"}), ids);
  std::vector<std::pair<std::string, TextMap>> entries;
  for (const AssembleEntry& entry : rule.getAssembleRules()) entries.emplace_back(entry.featureId, entry.params);
  const TextMap last = {{"K", "a.v_x"}, {"N", "7"}, {"T", "true"}, {"Z", ""}};
  EXPECT_EQ((decltype(entries){{ids[0], {}}, {ids[1], {}}, {ids[2], {}}, {ids[3], last}, {ids[4], last}}), entries);
  EXPECT_EQ(
      (Texts{"6 getMapFromJson: failed to get member B_anr_10.", "6 getMapFromJson: failed to get member C_anr_2."}),
      TakeLog());
}

TEST(ParseRuleOfASection, KeepsTheOrderOfEqualPriorities) {
  Texts ids;
  for (char c = 'Q'; c >= 'A'; --c) ids.push_back(std::string(1, c) + "_anr_1");  // 17: unstable sorts move them
  const Texts before = ids;
  AssembleRule rule;
  rule.parseRule(ParseJson("{}"), "", ids);
  EXPECT_EQ(before, ids);
  TakeLog();
}
