#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/rule_files/expression_signs.h"
#include "cli/rule_files/json_tree.h"
#include "cli/rule_files/path_reason.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "tests/cli/mistakes.h"

namespace {

// Each text of the tree is the one that the library reads, and its offsets lead back to the file.
void ExpectTextsOfTheReader(const JsonFile& file, const JsonNode& node) {
  if (node.kind == JsonNode::Kind::kString) {
    EXPECT_EQ(node.value->asString(), node.text.text);
    EXPECT_EQ(node.span.begin + 1, node.text.offsets.front());
    EXPECT_EQ(node.span.end - 1, node.text.offsets.back());
    EXPECT_EQ(node.text.text.size() + 1, node.text.offsets.size()) << file.text;
  }
  for (const JsonMember& member : node.members) {
    if (member.isRead) ExpectTextsOfTheReader(file, member.value);
  }
  for (const JsonNode& element : node.elements) ExpectTextsOfTheReader(file, element);
}

TEST(JsonTree, HasTheTextsOfTheReader) {
  const char* const kFiles[] = {
      R"(["\u0001\u007f\u0080\u07ff\u0800\uffff"])",
      R"(["\ud800\udc00 \udbff\udfff x", "\ud83d\ude00"])",
      R"(["\"\\\/\b\f\n\r\t", "", "plain ü", [["a"], "b"]])",
      R"({"a": "first", "a": "second", "a b": {"c": "\\\\d"}})",
  };
  for (const char* text : kFiles) {
    const JsonFile file("rules.json", text);
    ASSERT_TRUE(file.isJson) << text;
    ExpectTextsOfTheReader(file, file.tree);
  }
  for (const Mistake& mistake : Mistakes()) {
    const JsonFile file("rules.json", mistake.matchRules);
    if (file.isJson) ExpectTextsOfTheReader(file, file.tree);
  }
}

TEST(RuleTexts, FindVariables) {
  const struct {
    const char* text;
    const char* filled;   // with "xy" for each variable that is closed
    size_t offset;        // in the filled text...
    size_t offsetBefore;  // ...and where that stands in the text
  } kRows[] = {
      {"a @{b}@ c", "a xy c", 5, 8},  {"a @{b}@ c", "a xy c", 3, 2},   {"@{b}@@{c}@(", "xyxy(", 4, 10},
      {"@{b}@@{c}@(", "xyxy(", 2, 5}, {"@{b @{c}@(", "@{b xy(", 6, 9}, {"@{b @{c}@(", "@{b xy(", 1, 1},
      {"@{b}@ @{c", "xy @{c", 4, 7},  {"}@ @{b", "}@ @{b", 3, 3},      {"@{}@", "xy", 0, 0},
  };
  for (const auto& [text, filled, offset, offsetBefore] : kRows) {
    EXPECT_EQ(filled, WithVariablesAs(text, "xy")) << text;
    EXPECT_EQ(offsetBefore, OffsetBeforeFilling(text, "xy", offset)) << text;
  }
  EXPECT_EQ(std::string::npos, VariablesOf("@{b @{c}@")[0].name.find('@'));
  EXPECT_TRUE(VariablesOf("@{b @{c}@")[1].isClosed);
}

TEST(RuleTexts, KnowWhereTheirPiecesStand) {
  const struct {
    const char* text;
    const char* separator;
    std::vector<size_t> offsets;
  } kRows[] = {{"a,bc,,d", ",", {0, 2, 6}}, {",a", ",", {1}}, {"@|@@|@a@|@b", "@|@", {6, 10}}, {",,", ",", {}}};
  for (const auto& [text, separator, offsets] : kRows) {
    std::vector<size_t> found;
    for (const Piece& piece : PiecesOf(text, separator)) {
      EXPECT_EQ(0U, std::string(text).compare(piece.offset, piece.text.size(), piece.text)) << text;
      found.push_back(piece.offset);
    }
    EXPECT_EQ(offsets, found) << text;
  }
}

TEST(ExpressionSigns, DivideAlternatives) {
  const struct {
    const char* expression;
    std::vector<std::string> alternatives;
  } kRows[] = {{"a|b", {"a", "b"}},
               {"(a|b)|[|]c\\||", {"(a|b)", "[|]c\\|", ""}},
               {"a(?:b|(c|d))", {"a(?:b|(c|d))"}},
               {"[a|b]|x", {"[a|b]", "x"}},
               {"[\\]|]|x", {"[\\]|]", "x"}}};
  for (const auto& [expression, alternatives] : kRows) {
    std::vector<std::string> found;
    for (const Piece& piece : AlternativesOf(expression)) found.push_back(piece.text);
    EXPECT_EQ(alternatives, found) << expression;
  }
}

TEST(Spelling, FindsWhatWasMeant) {
  const struct {
    const char* word;
    std::vector<std::string> candidates;
    const char* nearest;
  } kRows[] = {{"abcdef", {"abcdxy", "abcdeg", "abcdeh"}, "abcdeg"},
               {"abcdef", {"abcxyz"}, ""},
               {"abcdef", {"badcfe", "abdcfe"}, "abdcfe"},
               {"a b c", {"abc"}, "abc"},
               {"a", {"a", "xyz", "b"}, "b"}};
  for (const auto& [word, candidates, nearest] : kRows) EXPECT_EQ(nearest, NearestTo(word, candidates)) << word;
}

TEST(PathReason, NamesWhatDoesNotFit) {
  const struct {
    const char* path;
    const char* directory;
    const char* alternatives;
    const char* why;
  } kRows[] = {
      {"/data/a", "/data/", "b", R"(segment "b" of "b" does not match)"},
      {"/data/a", "/other", "a@|@b", R"(the log is not below "/other")"},
      {"/data/a/b/c", "/data", "a/c@|@a/b",
       R"(segment "c" of "a/c" does not match; "a/b" matches, but not to the end)"
       " of the path"},
      {"/data/a", "/data", "@|@", R"("subcataLog" holds no alternative)"},
  };
  for (const auto& row : kRows)
    EXPECT_EQ(row.why, WhyPathRefused(row.path, row.directory, row.alternatives)) << row.path;
}

TEST(RuleTexts, KnowPathsOfAnotherSystem) {
  for (const char* text : {R"(c:\logs)", R"( d:\)", R"("E:\x")"}) EXPECT_TRUE(HoldsDrive(text, "\\")) << text;
  for (const char* text : {R"(:\x)", R"(1:\x)", R"(name:\d)", R"(c:/x)"}) EXPECT_FALSE(HoldsDrive(text, "\\")) << text;
}

}  // namespace
