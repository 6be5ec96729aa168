#include "regex/line_automaton.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "regex/regex_reader.h"

namespace {

RegexNode Read(const std::string& expression) { return ReadRegex(expression).tree.value().root; }

// The beginnings of the lines for which the predicate holds.
template <typename Predicate>
std::vector<size_t> LinesWith(const std::string& text, Predicate holds) {
  std::vector<size_t> starts;
  for (size_t begin = 0, end = 0; begin < text.size(); begin = end + 1) {
    end = std::min(text.find('\n', begin), text.size());
    if (holds(text.substr(begin, end - begin))) starts.push_back(begin);
  }
  return starts;
}

std::string RandomText(std::mt19937& random, size_t size, const std::string& bytes) {
  std::string text(size, ' ');
  for (char& c : text) c = bytes[random() % bytes.size()];
  return text;
}

}  // namespace

// The stretches that are searched in turn meet at places that no pattern knows of.
TEST(LineAutomaton, FindsTheLinesOfATextOfAnySize) {
  LineAutomaton automaton({LiteralNode("ab"), Read("^b+$"), Read("a\\d?$"), LiteralNode("caa")}, 1 << 16);
  const auto holds = [](const std::string& line) {
    return line.find("ab") != std::string::npos ||
           (!line.empty() && line.find_first_not_of('b') == std::string::npos) || line.ends_with("a") ||
           line.ends_with("a1") || line.find("caa") != std::string::npos;
  };
  std::mt19937 random(1);
  for (size_t size = 0; size < 100000; size += 1 + size / 64) {
    // Few line feeds leave stretches without any, many make empty lines.
    const std::string text = RandomText(random, size,
                                        size % 3 == 0   ? "ab1c\n"
                                        : size % 3 == 1 ? "abccc11cccc\n"
                                                        : "b\n");
    std::vector<size_t> starts;
    automaton.findLines(text, starts);
    ASSERT_EQ(LinesWith(text, holds), starts) << size << ": " << text;
  }
}

TEST(LineAutomaton, TellsPatternsApart) {
  LineAutomaton automaton({LiteralNode("a"), Read("^b"), Read("a.*b$")}, 1 << 16);
  const std::pair<const char*, std::vector<bool>> cases[] = {
      {"", {false, false, false}},    {"a", {true, false, false}},  {"b", {false, true, false}},
      {"ba", {true, true, false}},    {"axb", {true, false, true}}, {"bab", {true, true, true}},
      {"axbx", {true, false, false}},
  };
  for (const auto& [line, expected] : cases) {
    std::vector<bool> found(3);
    automaton.classify(line, found);
    EXPECT_EQ(expected, found) << line;
    EXPECT_EQ(found[0] || found[1] || found[2], automaton.mayMatch(line)) << line;
  }
}

// What is looked for changes while the states stay.
TEST(LineAutomaton, LooksForSomeOfItsPatterns) {
  LineAutomaton automaton({LiteralNode("ab"), Read("^b+$"), Read("ca+$")}, 1 << 16);
  std::mt19937 random(1);
  const std::string text = RandomText(random, 4000, "aabbc1\n");
  for (size_t round = 0; round < 24; ++round) {
    const std::vector<bool> wanted = {round % 2 == 1, round % 4 > 1, round % 8 > 3};
    automaton.lookFor(wanted);
    const auto holds = [&](const std::string& line) {
      std::vector<bool> found(3);
      automaton.classify(line, found);
      const bool isWanted = (wanted[0] && found[0]) || (wanted[1] && found[1]) || (wanted[2] && found[2]);
      EXPECT_EQ(line.find("ab") != std::string::npos, found[0]) << line;
      EXPECT_EQ(isWanted, automaton.mayMatch(line)) << line;
      return isWanted;
    };
    std::vector<size_t> starts;
    automaton.findLines(text.substr(round * 100), starts);
    ASSERT_EQ(LinesWith(text.substr(round * 100), holds), starts) << round;
  }
}

// More states than there is room for: lines may be named that do not match, but none is left out.
TEST(LineAutomaton, LeavesOutNoLineWhenItsStatesRunOut) {
  LineAutomaton automaton({Read("a[ab]{12}c")}, 1 << 12);
  std::mt19937 random(1);
  const std::string text = RandomText(random, 200000, "aaaabbbbbbbbc\n");
  const auto holds = [](const std::string& line) {
    for (size_t end = line.find('c'); end != std::string::npos; end = line.find('c', end + 1)) {
      if (end < 13 || line[end - 13] != 'a') continue;
      if (line.substr(end - 13, 13).find_first_not_of("ab") == std::string::npos) return true;
    }
    return false;
  };
  std::vector<size_t> starts;
  automaton.findLines(text, starts);
  const std::vector<size_t> expected = LinesWith(text, holds);
  EXPECT_GT(expected.size(), 100u);
  EXPECT_TRUE(std::includes(starts.begin(), starts.end(), expected.begin(), expected.end()));
  for (const size_t start : expected) {
    EXPECT_TRUE(automaton.mayMatch(std::string_view(text).substr(start, text.find('\n', start) - start)));
  }
}
