#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/check/checks.h"
#include "cli/lsp/cursor.h"
#include "cli/lsp/names.h"
#include "cli/lsp/project.h"
#include "cli/lsp/text_document.h"
#include "cli/lsp/transport.h"
#include "tests/cli/transcript.h"

namespace {

TEST(MessageReader, TakesMessagesHoweverTheyArrive) {
  const struct {
    const char* what;
    std::string bytes;
    std::vector<std::string> told;  // bodies; "!" for what is damaged
  } kRows[] = {
      {"one", "Content-Length: 2\r\n\r\n{}", {"{}"}},
      {"two", "Content-Length: 2\r\n\r\n{}Content-Length: 3\r\n\r\n[1]", {"{}", "[1]"}},
      {"other members, other case", "Content-Type: x\r\ncontent-length:2\r\n\r\n{}", {"{}"}},
      {"not all of it", "Content-Length: 3\r\n\r\n{}", {}},
      {"no length", "Content-Type: x\r\n\r\nContent-Length: 2\r\n\r\n{}", {"!", "{}"}},
      {"a length that is no number", "Content-Length: -1\r\n\r\nContent-Length: 2\r\n\r\n{}", {"!", "{}"}},
      {"too many digits", "Content-Length: 99999999999999999999\r\n\r\n", {"!"}},
      {"too large", "Content-Length: 99999999999\r\n\r\n{}{}{}", {"!"}},
      {"a header without end", std::string(9000, 'x'), {"!"}},
      {"nothing", "Content-Length: 0\r\n\r\n", {""}},
  };
  for (const auto& row : kRows) {
    for (const size_t step : {size_t{1}, size_t{7}, row.bytes.size()}) {
      MessageReader reader;
      std::vector<std::string> told;
      for (size_t i = 0; i < row.bytes.size(); i += step) {
        reader.append(std::string_view(row.bytes).substr(i, step));
        std::string message;
        for (auto next = reader.next(message); next != MessageReader::Next::kNone; next = reader.next(message)) {
          told.push_back(next == MessageReader::Next::kMessage ? message : "!");
        }
      }
      EXPECT_EQ(row.told, told) << row.what << ", in steps of " << step;
    }
  }
}

TEST(TextDocument, CountsAsTheClientDoes) {
  // One byte, two, three, and four, which are two units of UTF-16; then a byte that is no character.
  const std::string text =
      "a\xc3\xa4\xe2\x82\xac\xf0\x9f\x90\xa6\xff"
      "b\r\nsecond\rthird\n";
  const struct {
    const char* what;
    PositionEncoding encoding;
    Position position;
    size_t offset;
    Position back;  // of the offset
  } kRows[] = {
      {"behind the pair", PositionEncoding::kUtf16, {0, 5}, 10, {0, 5}},
      {"inside the pair", PositionEncoding::kUtf16, {0, 4}, 6, {0, 3}},
      {"behind an odd byte", PositionEncoding::kUtf16, {0, 6}, 11, {0, 6}},
      {"bytes", PositionEncoding::kUtf8, {0, 10}, 10, {0, 10}},
      {"inside a character", PositionEncoding::kUtf8, {0, 2}, 1, {0, 1}},
      {"behind the line's end", PositionEncoding::kUtf8, {0, 99}, 12, {0, 12}},
      {"after a pair of line ends", PositionEncoding::kUtf16, {1, 0}, 14, {1, 0}},
      {"after a carriage return", PositionEncoding::kUtf16, {2, 2}, 23, {2, 2}},
      {"behind the last line", PositionEncoding::kUtf16, {9, 9}, text.size(), {3, 0}},
  };
  for (const auto& row : kRows) {
    const TextDocument document(text, row.encoding);
    EXPECT_EQ(row.offset, document.offsetOf(row.position)) << row.what;
    const Position back = document.positionOf(row.offset);
    EXPECT_EQ(row.back.line, back.line) << row.what;
    EXPECT_EQ(row.back.character, back.character) << row.what;
  }
}

TEST(TextDocument, IsEdited) {
  TextDocument document("one\ntwo\nthree", PositionEncoding::kUtf16);
  document.replace({0, 3}, {1, 0}, " and ");
  EXPECT_EQ("one and two\nthree", document.text());
  document.replace({1, 5}, {0, 0}, "!");  // an end in front of the start counts as the start
  EXPECT_EQ("one and two\nthree!", document.text());
  document.replace({0, 0}, {9, 9}, "");
  EXPECT_EQ("", document.text());
}

TEST(CursorAt, KnowsThePlaceInUnfinishedText) {
  const struct {
    const char* what;
    const char* text;  // up to the place
    ObjectKind object;
    bool isKey;
    const char* member;
    const char* before;
  } kRows[] = {
      {"in front of all", "", ObjectKind::kNone, false, "", ""},
      {"a key of the root", "{\"fea", ObjectKind::kMatchRoot, true, "", "fea"},
      {"a key of a rule", "{\"featureFrame\": {\"rules\": [{\"na", ObjectKind::kPlainRule, true, "", "na"},
      {"a value of a rule", "{\"featureFrame\": {\"rules\": [{\"depend\": \"a\\\"b", ObjectKind::kPlainRule, false,
       "depend", "a\\\"b"},
      {"the next member", "{\"featureFrame\": {\"segmentRule\": [{\"name\": \"x\", \"", ObjectKind::kSegmentRule, true,
       "", ""},
      {"behind a missing quote", "{\"featureFrame\": {\"skip\": \"1\n, \"fe", ObjectKind::kFrameEntry, true, "", "fe"},
      {"too many brackets", "{}}}]]{\"fea", ObjectKind::kMatchRoot, true, "", "fea"},
      {"an unknown object", "{\"x\": {\"y\": {\"", ObjectKind::kNone, true, "", ""},
  };
  for (const auto& row : kRows) {
    const std::string text = row.text;
    const Cursor cursor = CursorAt(text, text.size(), FileKind::kMatch);
    EXPECT_EQ(row.object, cursor.object) << row.what;
    EXPECT_EQ(row.isKey, cursor.isKey) << row.what;
    EXPECT_EQ(row.member, cursor.member) << row.what;
    EXPECT_EQ(row.before, cursor.before) << row.what;
  }
}

// Renaming writes into these places, so each must hold the name and nothing else.
TEST(NamesIn, PlacesHoldTheirNames) {
  const std::string folder = KESTRIX_SOURCE_DIR "/examples/rules";
  const RuleSnapshot rules(folder, ReadFile(folder + "/match_rule.json"), ReadFile(folder + "/assemble_rule.json"));
  const std::vector<NamePlace> places = NamesIn(rules);
  size_t references = 0;
  for (const NamePlace& place : places) {
    const std::string& text = rules.file(place.file).text;
    EXPECT_EQ(place.name.text, text.substr(place.span.begin, place.span.end - place.span.begin));
    if (!place.isDefinition) ++references;
  }
  EXPECT_GT(references, 50U);
}

std::vector<std::string> Told(const std::vector<Finding>& findings, const RuleSnapshot& rules) {
  std::vector<std::string> told;
  for (const Finding& finding : findings) {
    told.push_back(std::string(finding.file == &rules.matchFile ? "match " : "assemble ") +
                   std::to_string(finding.span.begin) + "-" + std::to_string(finding.span.end) + " " + finding.message +
                   (finding.fix ? " " + finding.fix->text : ""));
  }
  return told;
}

// What is remembered from text to text must not differ from what is found afresh.
TEST(RuleCheck, FindsTheSameWhenItIsKept) {
  const std::string folder = KESTRIX_SOURCE_DIR "/examples/rules";
  std::string match = ReadFile(folder + "/match_rule.json");
  std::string assemble = ReadFile(folder + "/assemble_rule.json");
  RuleCheck kept;
  size_t count = 0;
  for (size_t i = 0; i < 15; ++i) {
    const size_t place = i * 7919 % (match.size() / 2);
    const auto insert = [place](std::string& text, const char* before, const char* what) {
      const size_t at = text.find(before, place);
      if (at != std::string::npos) text.insert(at, what);
    };
    if (i % 5 == 0) insert(match, "\n", "\n");
    if (i % 5 == 1) match.replace(match.find("@&@", place), 3, "@|@");
    if (i % 5 == 2) insert(match, "v_", "x");
    if (i % 5 == 3) insert(match, "(", "(a*)*");
    if (i % 5 == 4) assemble.replace(assemble.find(".v_"), 1, ".x");
    const RuleSnapshot rules(folder, match, assemble);
    const std::vector<Finding> fresh = CheckRules(rules.model);
    ASSERT_EQ(Told(fresh, rules), Told(kept.check(rules.model), rules)) << i;
    count += fresh.size();
  }
  EXPECT_GT(count, 15U);
}

TEST(PathOf, IsTheOtherWayOfUriOf) {
  for (const std::string path : {"/a/b.json", "/with blank/\xc3\xa4/100%/#x?y"}) EXPECT_EQ(path, PathOf(UriOf(path)));
  for (const char* uri : {"", "untitled:1", "http://x/y", "file://host", "file:///a%00b"}) {
    EXPECT_EQ("", PathOf(uri)) << uri;
  }
  EXPECT_EQ("/a%2/%zz", PathOf("file:///a%2/%zz"));
}

}  // namespace
