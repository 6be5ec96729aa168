#include "regex/regex.h"

#include <gtest/gtest.h>

#include <regex>

#include "regex/regex_reader.h"
#include "tests/support/expression_generator.h"
#include "tests/support/standard_search.h"

namespace {

bool IsSearchable(const std::string& expression) { return ReadRegex(expression).isSearchable(); }

}  // namespace

TEST(Regex, SaysWhatStdRegexSays) {
  int compared = 0;
  for (unsigned i = 0; i < 3000; ++i) {
    SeededDraw draw(i);
    ExpressionGenerator generator(draw, i % 4 == 0);
    const std::string expression = generator.expression();
    if (!IsSearchable(expression) || DiffersFromGnu(expression)) continue;
    Regex regex(expression);
    const std::regex standard(expression);
    EXPECT_EQ(standard.mark_count(), regex.groupCount()) << expression;
    for (int k = 0; k < 8; ++k, ++compared) {
      const std::string line = generator.subject();
      const auto expected = StandardSearch(line, expression, standard);
      Regex::Match match{"none", "none"};
      const bool ours = regex.search(line, match);
      ASSERT_EQ(expected.has_value(), ours) << expression << " on " << line;
      ASSERT_EQ(expected ? expected->whole : "none", match.whole) << expression << " on " << line;
      if (!match.group.empty()) {
        ASSERT_EQ(expected ? expected->group : "none", match.group) << expression << " on " << line;
      }
      if (expected) {
        ASSERT_EQ(line.data() + expected->position, match.whole.data()) << expression << " on " << line;
      }
      ASSERT_EQ(std::regex_match(line, standard), regex.matchesWhole(line)) << expression << " on " << line;
    }
  }
  EXPECT_GT(compared, 10000);
}

// Each is worked out from LLVM's rules: a round of a loop clears the group, and one that takes nothing ends the loop.
TEST(Regex, SaysWhatTheDeviceSaysWhereTheLibrariesDisagree) {
  const struct {
    const char* expression;
    const char* subject;
    const char* whole;
    const char* group;
  } cases[] = {
      {"(?:name=(\\w+)|id=\\d+|,)+;", "name=ab,id=4;", "name=ab,id=4;", ""},
      {"(?:name=(\\w+)|id=\\d+|,)+;", "id=4,name=ab;", "id=4,name=ab;", "ab"},
      {"(?:(a)|b)*", "ab", "ab", ""},
      {"(?:(a)|b)*", "ba", "ba", "a"},
      {"(?:(?:(a)|b)c?)+", "acb", "acb", ""},
      {"x(?:(a)|b)??y", "xay", "xay", "a"},
      {"(a*)*", "aab", "aa", ""},
      {"(a*)+b", "aab", "aab", ""},
      {"(|a)+", "aa", "", ""},
      {"(?:a?b?)*c", "abbac", "abbac", ""},
      {"(?:(?:a*)*b?)*c", "aabbc", "aabbc", ""},
      {"(?:a|){2,}b", "aab", "aab", ""},
      {"(?:a?){3}$", "aaaa", "aaa", ""},
      {"\\cA", "A\x01", "\x01", ""},
      {"\\u0041[\\x42\\xe4]", "AB", "AB", ""},
      {"[[:upper:][:digit:]-]+", "a-B3c", "-B3", ""},
      {"[^[:space:]]+", " ab ", "ab", ""},
      {"b(?=^|c)", "bc", "b", ""},
      {"a(?=b(?!c))", "abcab", "a", ""},
      {"(a)(?!\\w+\\b;)", "ab;ac", "a", "a"},
      {"(?:(?:a|(?=b)){2}|b)*c", "abc", "abc", ""},
      {"\\b[ab]c(.)", "ab a- bbac1 ac2", "ac2", "2"},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(IsSearchable(c.expression)) << c.expression;
    Regex regex(c.expression);
    for (int i = 0; i < 8; ++i) {  // the first ones keep no states
      Regex::Match match;
      ASSERT_TRUE(regex.search(c.subject, match)) << c.expression << " in search " << i;
      EXPECT_EQ(c.whole, match.whole) << c.expression << " in search " << i;
      EXPECT_EQ(c.group, match.group) << c.expression << " in search " << i;
    }
  }
}

TEST(ReadRegex, SaysWhyAnExpressionIsNotSearchedAndWhere) {
  const struct {
    std::string expression;
    RegexIssue issue;
    size_t offset;
    size_t length;
  } cases[] = {
      {"(a)\\1", RegexIssue::kBackReference, 3, 2},
      {"x(?=\\ba)", RegexIssue::kEdgeInLookAhead, 1, 7},
      {"(?!a*\\B)", RegexIssue::kEdgeInLookAhead, 0, 8},
      {"(?=(a))", RegexIssue::kGroupInLookAhead, 0, 7},
      {"b(?:(a)|b*)*", RegexIssue::kGroupInLoop, 1, 11},
      {"(?:a?){2,3}", RegexIssue::kEmptyLoop, 0, 11},
      {"(?=a+(?!b*c))", RegexIssue::kLoopsInLookAhead, 0, 13},
      {"(?:a{100}){101}", RegexIssue::kTooLarge, 0, 15},
      {"a{10001}", RegexIssue::kTooLarge, 1, 7},
      {std::string(101, '(') + std::string(101, ')'), RegexIssue::kTooLarge, 0, 101},
      {"a[]", RegexIssue::kEmptyClass, 1, 1},
      {"[[=a=]]", RegexIssue::kOddClass, 1, 5},
      {"[[:alpha:]-z]", RegexIssue::kOddClass, 1, 9},
      {"[--a]", RegexIssue::kOddClass, 1, 1},
      {"\\u0141", RegexIssue::kOddByte, 0, 6},
      {"[a-\\xff]", RegexIssue::kOddByte, 1, 6},
      {"a]", RegexIssue::kPlainBracket, 1, 1},
      {"(a)\\1(b", RegexIssue::kUnclosedGroup, 5, 1},
      {"a**", RegexIssue::kSecondRepeat, 2, 1},
      {"\\b+", RegexIssue::kNothingToRepeat, 2, 1},
      {"[z-a]", RegexIssue::kRangeOrder, 1, 3},
      {"[\\w-a]", RegexIssue::kRangeOfClass, 1, 4},
      {"(a)(?=\\1)", RegexIssue::kUnknownGroup, 6, 2},
      {"\\_", RegexIssue::kBadEscape, 0, 2},
  };
  for (const auto& c : cases) {
    const RegexReading reading = ReadRegex(c.expression);
    EXPECT_EQ(c.issue, reading.issue) << c.expression;
    EXPECT_EQ(c.offset, reading.offset) << c.expression;
    if (c.length < 100) {
      EXPECT_EQ(c.length, reading.length) << c.expression;
    }
  }
  EXPECT_TRUE(IsSearchable(std::string(100, '(') + std::string(100, ')')));
  EXPECT_TRUE(IsSearchable("a{4999}"));
}

TEST(Regex, LeavesTheRestToStdRegex) {
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
  SeededDraw draw(1);
  std::string mixed;
  while (mixed.size() < 200000) mixed += draw.below(2) == 0 ? 'a' : 'b';
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
