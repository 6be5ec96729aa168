#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "cli/check/checks.h"
#include "cli/check/finding_codes.h"
#include "tests/cli/mistakes.h"
#include "tests/cli/transcript.h"
#include "tests/support/temp_dir.h"
#include "util/string_util.h"

namespace {

constexpr char kCases[] = KESTRIX_SOURCE_DIR "/tests/data-check";

TEST(Check, PrintsWhatTheTranscriptHolds) { EXPECT_GT(ExpectTranscript(kCases), 100); }

TEST(Check, FindsEachMistakeAndNothingElse) {
  int count = 0;
  for (const Mistake& mistake : Mistakes()) {
    const JsonFile matchFile("match_rule.json", mistake.matchRules);
    const JsonFile assembleFile("assemble_rule.json", mistake.assembleRules);
    std::vector<std::string> found;
    for (const Finding& finding : CheckRules(RuleModel(matchFile, assembleFile))) {
      found.push_back(std::string(NameOf(finding.severity)) + " " + std::string(DescriptionOf(finding.code).name));
    }
    EXPECT_EQ(mistake.expected, found) << mistake.what;
    ++count;
  }
  EXPECT_GT(count, 80);
}

TEST(Check, HasACaseAndATextForEachCode) {
  const std::string transcript =
      ReadFile(std::string(kCases) + "/expected.txt") + ReadFile(std::string(kCases) + "/mistakes.txt");
  for (const FindingCode& code : AllFindingCodes()) {
    const std::string name(code.name);
    EXPECT_TRUE(transcript.find("[" + name + "]\n") != std::string::npos ||
                transcript.find("! error " + name + "\n") != std::string::npos ||
                transcript.find("! warning " + name + "\n") != std::string::npos)
        << name;
    ASSERT_TRUE(AllFindingTexts().contains(name)) << name;
    const FindingText& text = TextOf(code);
    EXPECT_EQ(NameOf(code.severity), text.severity) << name;
    for (const std::string* part : {&text.summary, &text.paragraph, &text.wrong, &text.right}) {
      EXPECT_FALSE(part->empty()) << name;
    }
  }
  EXPECT_EQ(AllFindingCodes().size(), AllFindingTexts().size());
}

TEST(Check, FindsNothingInTheExamples) {
  EXPECT_EQ("0 errors, 0 warnings\n-> 0\n", OutputOf(KESTRIX_SOURCE_DIR, "kestrix check --strict examples/rules"));
}

TEST(Check, ReadsAnyBytesWithoutHarm) {
  const std::string rules = ReadFile(KESTRIX_SOURCE_DIR "/examples/rules/match_rule.json");
  const TempDir dir;
  for (size_t i = 0; i < 60; ++i) {
    std::string broken = rules;
    const size_t place = i * 7919 % rules.size();
    if (i % 3 == 0) broken.resize(place);
    if (i % 3 == 1) broken[place] = static_cast<char>(i * 37);
    if (i % 3 == 2) broken.insert(place, std::string("\"\\{[,") + static_cast<char>(0x80 + i) + '\0');
    const std::string path = dir.write("match_rule.json", broken);
    const std::string output =
        OutputOf(KESTRIX_SOURCE_DIR, "kestrix check " + path + " examples/rules/assemble_rule.json");
    EXPECT_TRUE(output.ends_with("-> 0\n") || output.ends_with("-> 1\n")) << i << "\n" << output;
  }
}

// Names, keys, expressions and paths of rule files reach terminals and pages in many ways.
TEST(Check, LetsNoControlCharacterOfARuleFileThrough) {
  const auto withOdd = [](const std::string& json) {
    return StringUtil::ReplaceStr(json, "~", R"(\u001b[31m\u009b\u0007\u202e)");
  };
  const TempDir dir;
  dir.write("match_rule.json", withOdd(R"+({"featureFrame_~": {"dirOrFile": "/data/~", "subcataLog": "~(",
    "featureId": "KX_hang_1,KX_h~_2", "rules": [
      {"name": "n~", "depend": "d~", "keyWords": "@{k~}@", "v_~": "(~.*)"},
      {"name": "m", "keyWords": "", "v_x": "(.*)", "v_~": ""}]}})+"));
  dir.write("assemble_rule.json", withOdd(R"({"hang": {"KX_hang_1": {"K~": "t~", "L~": "m.v_x"}}})"));
  const std::string log = dir.write("log.txt", "a\x1b[31mb\n");
  const std::string rules = " --config " + dir.path() + " --event hang";
  const std::vector<std::string> commands = {"check " + dir.path(),
                                             "check " + dir.path() + " --as '/data/\x1b'",
                                             "check " + dir.path() + " --format json",
                                             "check " + dir.path() + " --format sarif",
                                             "analyze " + log + rules,
                                             "analyze " + log + rules + " --json",
                                             "explain " + log + rules,
                                             "explain " + log + rules + " --line 1",
                                             "explain " + log + rules + " --format json",
                                             "explain " + log + rules + " --format html",
                                             "coverage " + log + rules,
                                             "coverage " + log + rules + " --format html",
                                             "batch " + log + rules};
  for (const std::string& command : commands) {
    const std::string output = OutputOf(KESTRIX_SOURCE_DIR, "kestrix " + command + " 2>&1");
    for (const std::string_view control : {"\x1b", "\x07", "\u009b", "\u202e"}) {
      EXPECT_EQ(std::string::npos, output.find(control)) << command << '\n' << output;
    }
  }
}

// What is generated is committed too, for readers and editors.
TEST(Check, CommittedFilesAreUpToDate) {
  const struct {
    const char* what;
    const char* file;
  } kFiles[] = {
      {"match-schema", "docs/schema/match_rule.schema.json"},
      {"assemble-schema", "docs/schema/assemble_rule.schema.json"},
  };
  for (const auto& [what, file] : kFiles) {
    EXPECT_EQ(ReadFile(std::string(KESTRIX_SOURCE_DIR "/") + file) + "-> 0\n",
              OutputOf(KESTRIX_SOURCE_DIR, std::string("kestrix check --print ") + what))
        << "kestrix check --print " << what << " > " << file;
  }
}

}  // namespace
