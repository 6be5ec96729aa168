#include <gtest/gtest.h>

#include <algorithm>
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

std::vector<std::string> NamesOf(const std::vector<Finding>& findings) {
  std::vector<std::string> names;
  for (const Finding& finding : findings) {
    names.push_back(std::string(NameOf(finding.severity)) + " " + std::string(DescriptionOf(finding.code).name));
  }
  return names;
}

// What is found after the cure of one finding.
std::vector<std::string> NamesAfter(const Finding& finding, const Mistake& mistake) {
  const bool isMatchFile = finding.file->path == "match_rule.json";
  std::string rules[] = {mistake.matchRules, mistake.assembleRules};
  const Span span = finding.fix->span;
  rules[isMatchFile ? 0 : 1].replace(span.begin, span.end - span.begin, finding.fix->text);
  const JsonFile matchFile("match_rule.json", rules[0]);
  const JsonFile assembleFile("assemble_rule.json", rules[1]);
  return NamesOf(CheckRules(RuleModel(matchFile, assembleFile)));
}

TEST(Check, FindsEachMistakeAndNothingElse) {
  int count = 0;
  int cures = 0;
  for (const Mistake& mistake : Mistakes()) {
    const JsonFile matchFile("match_rule.json", mistake.matchRules);
    const JsonFile assembleFile("assemble_rule.json", mistake.assembleRules);
    const std::vector<Finding> findings = CheckRules(RuleModel(matchFile, assembleFile));
    EXPECT_EQ(mistake.expected, NamesOf(findings)) << mistake.what;
    ++count;
    for (size_t i = 0; i < std::min(findings.size(), mistake.expected.size()); ++i) {
      if (!findings[i].fix) continue;
      ++cures;
      const auto countIn = [&](const std::vector<std::string>& names) {
        return std::count(names.begin(), names.end(), mistake.expected[i]);
      };
      const std::vector<std::string> after = NamesAfter(findings[i], mistake);
      EXPECT_LT(countIn(after), countIn(mistake.expected)) << mistake.what << ": " << findings[i].fix->text;
      EXPECT_LE(after.size(), findings.size()) << mistake.what << ": " << findings[i].fix->text;
    }
  }
  EXPECT_GT(count, 80);
  EXPECT_GT(cures, 40);
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
