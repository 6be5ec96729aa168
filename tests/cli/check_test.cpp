#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/cli/transcript.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr char kCases[] = KESTRIX_SOURCE_DIR "/tests/data-check";

TEST(Check, PrintsWhatTheTranscriptHolds) { EXPECT_GT(ExpectTranscript(kCases), 100); }

TEST(Check, HasACaseForEachCode) {
  const std::string transcript = ReadFile(std::string(kCases) + "/expected.txt");
  std::istringstream codes(OutputOf(kCases, "kestrix check --print codes"));
  int count = 0;
  for (std::string line; std::getline(codes, line);) {
    if (!line.starts_with("## ")) continue;
    ++count;
    EXPECT_NE(std::string::npos, transcript.find("[" + line.substr(3) + "]\n")) << line;
  }
  EXPECT_GT(count, 30);
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

// What is generated is committed too, for readers and editors.
TEST(Check, CommittedFilesAreUpToDate) {
  const struct {
    const char* what;
    const char* file;
  } kFiles[] = {
      {"codes", "docs/checks.md"},
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
