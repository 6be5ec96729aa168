#include "regex/regex.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

#include "tests/support/standard_search.h"

namespace {

struct Generator {
  size_t below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random); }
  std::string pick(const std::vector<std::string>& pieces) { return pieces[below(pieces.size())]; }

  std::string line() {
    std::string text;
    for (size_t i = below(9); i > 0; --i) text += pick({"a", "b", "c", "1", " ", "=", "pid", "x\r", "\xc3\xa4", "-"});
    return text;
  }

  std::string expression(int depth) {
    std::string text;
    for (size_t i = below(4) + 1; i > 0; --i) {
      std::string atom = pick({"a",    "b",    "pid",    "1",      ".", "\\d",      "\\w", "\\s", "\\S", "\\W",
                               "[ab]", "[^a]", "[\\w.]", "[\\w-]", "=", "\xc3\xa4", "^",   "\\b", "\\B", "$"});
      bool repeats = atom.find_first_of("^$") != 0 && atom != "\\b" && atom != "\\B";
      if (depth < 3 && below(3) == 0) {
        const std::string open = pick({"(", "(?:", "(?=", "(?!"});
        atom = open + expression(depth + 1) + ")";
        repeats = open.size() < 3 || open[2] == ':';
      }
      text += atom;
      if (repeats && loops > 0 && below(2) == 0) {
        text += pick({"*", "+", "?", "*?", "+?", "??", "{2}", "{1,3}", "{2,}"});
        --loops;
      }
      if (below(7) == 0) text += "|";
    }
    return text;
  }

  std::mt19937 random;
  int loops = 3;  // that the expression may still have: std::regex takes for ever on more
};

bool IsSearchedByMachine(const std::string& expression) {
  const auto tree = ReadRegexTree(expression);
  return tree && RegexMachine::canSearch(*tree);
}

}  // namespace

TEST(Regex, SaysWhatStdRegexSays) {
  int compared = 0;
  for (unsigned i = 0; i < 3000; ++i) {
    Generator generator{std::mt19937(i)};
    const std::string expression = generator.expression(0);
    if (!IsSearchedByMachine(expression)) continue;
    Regex regex(expression);
    const std::regex standard(expression);
    EXPECT_EQ(standard.mark_count(), regex.groupCount()) << expression;
    for (int k = 0; k < 8; ++k, ++compared) {
      const std::string line = generator.line();
      const auto expected = StandardSearch(line, expression, standard);
      Regex::Match match{"none", "none"};
      const bool ours = regex.search(line, match);
      ASSERT_EQ(expected.has_value(), ours) << expression << " on " << line;
      ASSERT_EQ(expected ? expected->whole : "none", match.whole) << expression << " on " << line;
      ASSERT_EQ(expected ? expected->group : "none", match.group) << expression << " on " << line;
      if (expected) {
        ASSERT_EQ(line.data() + expected->position, match.whole.data()) << expression << " on " << line;
      }
      ASSERT_EQ(std::regex_match(line, standard), regex.matchesWhole(line)) << expression << " on " << line;
    }
  }
  EXPECT_GT(compared, 10000);
}

TEST(Regex, LeavesToStdRegexWhatTheLibrariesDisagreeAbout) {
  for (const char* expression : {"(a)\\1", "(?:(a)|b)*", "(?:a*)*", "(?:a|)+", "(?=(a))", "(?=\\ba)", "(?!^a)",
                                 "(?=a(?!b))", "(?:(a)?b)+", "(?:(?=a))?", "a]", "\\_", "[[:alpha:]]"}) {
    EXPECT_FALSE(IsSearchedByMachine(expression)) << expression;
  }
  for (const char* expression : {"(a|b)*c", "(?:(a)b)+", "((?:a|b)*)", "(a){2,3}", "x(?:b(.*))?(?!.)"}) {
    EXPECT_TRUE(IsSearchedByMachine(expression)) << expression;
  }
  Regex regex("(a+)=\\1");
  Regex::Match match;
  EXPECT_TRUE(regex.search("aa=a", match));
  EXPECT_EQ("a=a", match.whole);
  EXPECT_EQ("a", match.group);
  EXPECT_TRUE(regex.matchesWhole("aa=aa"));
}

// Where std::regex recurses, doubles its time with each byte, or gives up.
TEST(Regex, TakesLongAndUnluckySubjects) {
  const std::string many(300000, 'a');
  Regex::Match match;
  for (const char* expression : {"(.*)", "(a|b)*", "(?:a+)+", "^(a*)$", "(?:a|a)*"}) {
    EXPECT_TRUE(Regex(expression).search(many, match)) << expression;
    EXPECT_EQ(many, match.whole) << expression;
    EXPECT_TRUE(Regex(expression).matchesWhole(many)) << expression;
  }
  for (const char* expression : {"(a|b)*c", "(?:a+)+c", "a.*a.*a.*c", "(?:a|a)*$c"}) {
    EXPECT_FALSE(Regex(expression).search(many, match)) << expression;
  }
  // So many states of a search are never kept; what was kept is forgotten on the way.
  Generator generator{std::mt19937(1)};
  std::string mixed;
  while (mixed.size() < 200000) mixed += generator.pick({"a", "b"});
  const std::string hidden = mixed + "a" + std::string(14, 'b') + "c" + mixed;
  Regex counted("(a)[ab]{14}c");
  ASSERT_TRUE(counted.search(hidden, match));
  EXPECT_EQ(hidden.data() + mixed.size(), match.group.data());
  EXPECT_FALSE(counted.search(mixed, match));
  // What may take more than linear time takes no subject that is longer than a line of a log.
  for (const char* expression : {"(a)\\1", "a(?=.*$)"}) {
    EXPECT_TRUE(Regex(expression).search(many.substr(0, 2048), match)) << expression;
    EXPECT_FALSE(Regex(expression).search(many.substr(0, 2049), match)) << expression;
    EXPECT_FALSE(Regex(expression).matchesWhole(many.substr(0, 2050))) << expression;
  }
}
