#include "tests/cli/mistakes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/cli/transcript.h"

std::vector<Mistake> Mistakes() {
  const std::string folder = KESTRIX_SOURCE_DIR "/tests/data-check";
  const std::string matchRules = ReadFile(folder + "/base/match_rule.json");
  const std::string assembleRules = ReadFile(folder + "/base/assemble_rule.json");
  std::vector<Mistake> mistakes;
  std::istringstream lines(ReadFile(folder + "/mistakes.txt"));
  std::string old;
  for (std::string line; std::getline(lines, line);) {
    const std::string text = line.substr(std::min<size_t>(2, line.size()));
    if (line.starts_with("##")) mistakes.push_back({line, matchRules, assembleRules, {}});
    if (line.starts_with("- ")) old = text;
    if (line.starts_with("! ")) mistakes.back().expected.push_back(text);
    if (!line.starts_with("+ ")) continue;
    const bool isInMatchRules = mistakes.back().matchRules.find(old) != std::string::npos;
    std::string& rules = isInMatchRules ? mistakes.back().matchRules : mistakes.back().assembleRules;
    const size_t place = rules.find(old);
    EXPECT_NE(std::string::npos, place) << line;
    if (place != std::string::npos) rules.replace(place, old.size(), text);
  }
  return mistakes;
}
