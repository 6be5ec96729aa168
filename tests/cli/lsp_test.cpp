#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cli/check/checks.h"
#include "cli/lsp/cursor.h"
#include "cli/lsp/features.h"
#include "cli/lsp/names.h"
#include "cli/lsp/project.h"
#include "cli/lsp/text_document.h"
#include "cli/lsp/transport.h"
#include "tests/cli/transcript.h"
#include "tests/support/temp_dir.h"

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

TEST(MessageReader, PassesOverWhatIsTooLarge) {
  const std::string large(64 * 1024 * 1024 + 1, 'x');
  MessageReader reader;
  std::string message;
  reader.append("Content-Length: " + std::to_string(large.size()) + "\r\n\r\n");
  EXPECT_EQ(MessageReader::Next::kDamaged, reader.next(message));
  reader.append(large);
  reader.append("Content-Length: 2\r\n\r\n{}");
  EXPECT_EQ(MessageReader::Next::kMessage, reader.next(message));
  EXPECT_EQ("{}", message);
}

// What is told of each message: its id and, of a fault, the code; then the status.
TEST(LanguageServer, KnowsWhenItMayBeAsked) {
  const auto request = [](int id, const std::string& method) {
    return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":")" + method + R"(","params":{}})";
  };
  const std::string kExit = R"({"jsonrpc":"2.0","method":"exit"})";
  const struct {
    std::vector<std::string> messages;
    const char* told;
  } kRows[] = {
      {{request(1, "initialize"), request(2, "shutdown"), kExit}, "1 2 -> 0\n"},
      {{request(1, "initialize"), kExit}, "1 -> 1\n"},
      {{request(1, "initialize"), request(2, "shutdown")}, "1 2 -> 1\n"},
      {{request(1, "shutdown"), request(2, "initialize"), kExit}, "1:-32002 2 -> 1\n"},
      {{request(1, "initialize"), request(2, "initialize"), request(3, "x"), kExit}, "1 2:-32600 3:-32601 -> 1\n"},
      {{request(1, "initialize"), request(2, "shutdown"), request(3, "shutdown"), kExit}, "1 2 3:-32600 -> 0\n"},
  };
  for (const auto& row : kRows) {
    const TempDir dir;
    std::string input;
    for (const std::string& message : row.messages) {
      input += "Content-Length: " + std::to_string(message.size()) + "\r\n\r\n" + message;
    }
    dir.write("input", input);
    MessageReader reader;
    const std::string output = OutputOf(dir.path(), "kestrix lsp <input");
    reader.append(output);
    std::string told;
    std::string message;
    while (reader.next(message) == MessageReader::Next::kMessage) {
      Json::Value answer;
      EXPECT_TRUE(ReadJson(message, answer)) << message;
      told +=
          answer["id"].asString() + (answer.isMember("error") ? ":" + answer["error"]["code"].asString() : "") + " ";
    }
    EXPECT_EQ(row.told, told + output.substr(output.rfind("-> "))) << input;
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
      {"behind an array", "{\"featureFrame\": {\"rules\": [{}], \"se", ObjectKind::kFrameEntry, true, "", "se"},
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

// Two entries of one feature id, and one of another.
constexpr char kMatch[] = R"json({"featureFrame_a": {"featureId": "K_x_1", "dirOrFile": "/d", "rules": [
  {"name": "head", "keyWords": "HEAD", "v_a": "A (.*)", "v_b": "B (.*)"},
  {"name": "tail", "depend": "head.v_a", "keyWords": "@{head.v_b}@", "v_a": "T (.*)"}]},
 "featureFrame_b": {"featureId": "K_x_1", "dirOrFile": "/d", "rules": [{"name": "head", "v_b": "@{", "v_c": "C"}]},
 "featureFrame_c": {"featureId": "K_x_2", "dirOrFile": "/d", "rules": [{"name": "head", "v_b": "B"}]}})json";
constexpr char kAssemble[] = R"json({"x": {"K_x_1": {"A": "head.v_a+tail.v_a", "B": "head.v_b"}}})json";

class Edited : public testing::Test {
 protected:
  Edited() : project_("/none", PositionEncoding::kUtf16) {
    project_.open(FileKind::kMatch, "match", 1, kMatch);
    project_.open(FileKind::kAssemble, "assemble", 1, kAssemble);
  }

  // Behind the first place of `text`.
  Spot behind(FileKind file, const std::string& text) {
    return {project_, file, project_.document(file).text().find(text) + text.size()};
  }

  Project project_;
};

TEST_F(Edited, NamesAreRenamedWhereverTheyStand) {
  const FileKind kMatchFile = FileKind::kMatch;
  const struct {
    FileKind file;
    const char* behind;
    const char* newName;
    const char* told;  // how many places in each file, or a part of the fault
  } kRows[] = {
      {kMatchFile, "\"head", "top", "3 2"},
      {kMatchFile, "\"head", "head", "3 2"},
      {kMatchFile, "\"he", "tail", "tail is there already"},
      {FileKind::kAssemble, "\"B\": \"he", "top", "4 2"},
      {FileKind::kAssemble, "tail.", "v_d", "1 1"},
      {kMatchFile, "\"K_x", "K_y_2", "2 1"},
      {kMatchFile, "\"K_x", "K_", "a feature id is"},
      {kMatchFile, "\"v_", "", "cannot be empty"},
      {kMatchFile, "\"v_", "v_\n", "cannot hold"},
      {kMatchFile, "\"v_", "v_ x", "cannot hold"},
      {kMatchFile, "\"v_", "v_", "begins with"},
      {kMatchFile, "\"v_", "w_x", "begins with"},
      {kMatchFile, "\"HE", "x", "there is no name"},
  };
  for (const auto& row : kRows) {
    std::string told;
    const Json::Value edit = RenameAt(behind(row.file, row.behind), row.newName, told);
    if (told.empty()) {
      told = std::to_string(edit["changes"]["match"].size()) + " " + std::to_string(edit["changes"]["assemble"].size());
    }
    EXPECT_NE(std::string::npos, told.find(row.told)) << row.behind << " -> " << row.newName << ": " << told;
  }
}

TEST_F(Edited, CompletionOffersWhatFits) {
  const struct {
    const char* what;
    FileKind file;
    const char* behind;
    const char* labels;
  } kRows[] = {
      {"rules and records", FileKind::kMatch, "\"depend\": \"", "head tail head.v_a head.v_b tail.v_a @{"},
      {"a variable with its end", FileKind::kMatch, "\"@{", "head.v_a head.v_b tail.v_a"},
      {"one without", FileKind::kMatch, "\"v_b\": \"@{", "head.v_b}@ head.v_c}@"},
      {"records of both entries", FileKind::kAssemble, "\"A\": \"head.v_a+", "head.v_a head.v_b tail.v_a head.v_c"},
      {"ids", FileKind::kMatch, "\"featureId\": \"", "K_x_1"},
  };
  for (const auto& row : kRows) {
    std::string labels;
    const Json::Value list = CompletionsAt(behind(row.file, row.behind));
    for (const Json::Value& item : list["items"]) {
      labels += (labels.empty() ? "" : " ") + item["label"].asString();
    }
    EXPECT_EQ(row.labels, labels) << row.what;
  }
}

TEST_F(Edited, FindingsAreToldWhereTheyAre) {
  const Spot spot = behind(FileKind::kMatch, "\"HEA");
  const size_t at = spot.offset;
  const Fix fix{{at, at}, "x"};
  const struct {
    Problem problem;
    bool isTold;
  } kRows[] = {
      {{FileKind::kMatch, "rule-shadowed", false, {at - 1, at}, "", fix}, true},
      {{FileKind::kMatch, "rule-shadowed", false, {at, at + 1}, "", fix}, true},
      {{FileKind::kMatch, "rule-shadowed", false, {at - 2, at - 1}, "", fix}, false},
      {{FileKind::kMatch, "rule-shadowed", false, {at + 1, at + 2}, "", fix}, false},
      {{FileKind::kAssemble, "rule-shadowed", false, {at - 1, at}, "", fix}, false},
  };
  for (const auto& row : kRows) {
    const std::string hover = HoverAt(spot, {}, {row.problem})["contents"]["value"].asString();
    EXPECT_EQ(row.isTold, hover.find("**rule-shadowed**") != std::string::npos) << hover;
    EXPECT_EQ(row.isTold, !ActionsOf(project_, FileKind::kMatch, {at, at}, {row.problem}).empty());
  }
}

TEST_F(Edited, ValuesAreShownInTheLinesThatAreSeen) {
  Survey survey;
  survey.values = {{{"K_x_1", "head.v_a"}, "one"}, {{"K_x_1", "head.v_b"}, "two"}, {{"K_x_1", "tail.v_a"}, "three"}};
  const size_t first = behind(FileKind::kMatch, "A (.*)\"").offset;
  const size_t last = behind(FileKind::kMatch, "B (.*)\"").offset;
  const struct {
    Span range;
    Json::ArrayIndex count;
  } kRows[] = {{{0, 9999}, 4}, {{first, last}, 2}, {{first + 1, last}, 1}, {{first, last - 1}, 1}};
  for (const auto& [range, count] : kRows) {
    EXPECT_EQ(count, HintsOf(project_, FileKind::kMatch, range, survey).size()) << range.begin << "-" << range.end;
  }
}

TEST(Project, KeepsTheLastTextsThatCouldBeRead) {
  const TempDir dir;
  dir.write("assemble_rule.json", kAssemble);
  Project project(dir.path(), PositionEncoding::kUtf8);
  const auto state = [&project] {
    const RuleModel& model = project.lastUsable().model;
    return std::to_string(model.entries.size()) + " " + std::to_string(model.assembling.size());
  };
  project.open(FileKind::kMatch, "match", 1, kMatch);
  EXPECT_EQ("3 1", state());
  project.document(FileKind::kMatch).replace({0, 0}, {0, 0}, "{");
  project.change(FileKind::kMatch, 2);
  EXPECT_EQ("3 1", state()) << "while it is being typed";
  EXPECT_FALSE(project.now().matchFile.isUsable());
  dir.write("assemble_rule.json", R"({"x": {"K_x_1": {}}, "y": {"K_y_1": {}}})");
  EXPECT_EQ("3 1", state()) << "not told yet";
  project.touch();
  EXPECT_EQ("3 2", state());
  project.close(FileKind::kMatch);
  EXPECT_EQ("3 2", state()) << "there is no such file on disk";
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
