#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "tests/support/temp_dir.h"

namespace {

constexpr char kCases[] = KESTRIX_SOURCE_DIR "/tests/data-check";

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// Runs a command line that begins with "kestrix" in a folder. Returns all its output and, as "-> 1", its status.
std::string OutputOf(const std::string& folder, const std::string& commandLine) {
  const std::string program = std::string(KESTRIX_PROGRAM) + commandLine.substr(std::string("kestrix").size());
  FILE* pipe = popen(("cd '" + folder + "' && " + program + " 2>&1").c_str(), "r");
  std::string output;
  for (char buffer[4096]; fgets(buffer, sizeof buffer, pipe) != nullptr;) output += buffer;
  return output + "-> " + std::to_string(WEXITSTATUS(pclose(pipe))) + "\n";
}

// Each block of the transcript is a command line, what it prints and its status.
TEST(Check, PrintsWhatTheTranscriptHolds) {
  std::istringstream transcript(Read(std::string(kCases) + "/expected.txt"));
  std::string commandLine;
  std::string expected;
  int count = 0;
  for (std::string line; std::getline(transcript, line);) {
    if (line.starts_with("$ ")) {
      commandLine = line.substr(2);
      expected.clear();
      continue;
    }
    expected += line + "\n";
    if (!line.starts_with("-> ")) continue;
    EXPECT_EQ(expected, OutputOf(kCases, commandLine)) << commandLine;
    ++count;
  }
  EXPECT_GT(count, 100);
}

TEST(Check, HasACaseForEachCode) {
  const std::string transcript = Read(std::string(kCases) + "/expected.txt");
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
  const std::string rules = Read(KESTRIX_SOURCE_DIR "/examples/rules/match_rule.json");
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
    EXPECT_EQ(Read(std::string(KESTRIX_SOURCE_DIR "/") + file) + "-> 0\n",
              OutputOf(KESTRIX_SOURCE_DIR, std::string("kestrix check --print ") + what))
        << "kestrix check --print " << what << " > " << file;
  }
}

}  // namespace
