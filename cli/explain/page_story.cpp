#include "cli/explain/page_story.h"

#include <json/json.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <set>
#include <utility>

#include "cli/explain/json_story.h"
#include "cli/explain/key_story.h"
#include "cli/output/lines.h"
#include "cli/output/page_shell.h"
#include "cli/output/utf8.h"
#include "util/file_util.h"
#include "util/limits.h"

// Embedded when the program is built.
extern const std::string_view kStoryPageBody;
extern const std::string_view kStoryPageScript;
extern const std::string_view kLivePageScript;

namespace {

constexpr size_t kMaxWholeLog = 16 * 1024 * 1024;  // bytes
constexpr size_t kMaxLineShown = 2 * kMaxLineLen;  // bytes; what the library examines, and some of what it does not
constexpr ptrdiff_t kMaxWholeLines = 500'000;      // browsers limit the height of what they show
constexpr size_t kLinesAround = 50;                // of a line that the story names, in a log that is not shown whole

std::string Shown(std::string_view line) {
  if (line.size() <= kMaxLineShown) return ValidUtf8(line);
  return ValidUtf8(line.substr(0, kMaxLineShown)) + "... and " + std::to_string(line.size() - kMaxLineShown) +
         " bytes more";
}

// The numbers of the lines of a log that the story names.
std::set<size_t> NamedLines(const Story& story, size_t log) {
  std::set<size_t> named = {1};
  for (const RunStory& run : story.runs) {
    if (run.log != log) continue;
    for (const RuleStory& rule : run.rules) {
      for (const SelectedLine& selected : rule.selected.kept) named.insert(selected.line.number);
      for (const LineVerdict& near : rule.nearest.kept) named.insert(near.line.number);
    }
    for (const RecordStory& record : run.records) named.insert(record.line.number);
    named.insert(run.lastLine.number);
    if (story.stack && story.stack->featureId == run.featureId) {
      for (const FrameStory& frame : story.stack->frames) named.insert(frame.line.number);
    }
  }
  if (story.askedLine) named.insert(*story.askedLine);
  return named;
}

// A log as stretches of lines in a row: {"line": number of the first, "text": lines}.
Json::Value LogNode(const Story& story, size_t index, const LogText& log) {
  Json::Value node;
  const bool isWhole =
      log.text.size() <= kMaxWholeLog && std::count(log.text.begin(), log.text.end(), '\n') <= kMaxWholeLines;
  const std::set<size_t> named = isWhole ? std::set<size_t>() : NamedLines(story, index);
  node["pieces"] = Json::Value(Json::arrayValue);
  size_t lines = 0;
  size_t lastKept = 0;
  size_t first = 0;
  std::string text;
  const auto endPiece = [&] {
    if (first == 0) return;
    Json::Value piece;
    piece["line"] = static_cast<Json::UInt64>(first);
    piece["text"] = text;
    node["pieces"].append(piece);
  };
  ForEachLine(log.text, [&](size_t number, std::string_view line) {
    lines = number;
    const auto near = named.lower_bound(number - std::min(number, kLinesAround));
    if (!isWhole && (near == named.end() || *near > number + kLinesAround)) return;
    if (first == 0 || lastKept + 1 != number) {
      endPiece();
      first = number;
      text.clear();
    } else {
      text += '\n';
    }
    text += Shown(line);
    lastKept = number;
  });
  endPiece();
  node["path"] = ValidUtf8(log.path == story.logFile ? story.logName : log.path);
  node["lines"] = static_cast<Json::UInt64>(lines);
  node["isWhole"] = isWhole;
  return node;
}

// How each rule fared on each line that was read: {"words": [[verdict, why]...], "rows": [[word by rule]...], "lines":
// [row by line]}. Most lines fare alike.
Json::Value VerdictsNode(const RunStory& run) {
  Json::Value node;
  for (const char* part : {"words", "rows", "lines"}) node[part] = Json::Value(Json::arrayValue);
  std::map<std::pair<VerdictKind, std::string>, Json::UInt> words;
  std::map<std::vector<Json::UInt>, Json::UInt> rows;
  for (const LineStory& line : run.asked) {
    std::vector<Json::UInt> row;
    for (const LineVerdict& judged : line.verdicts) {
      const Verdict& verdict = judged.verdict;
      const auto [word, isNew] = words.try_emplace({verdict.kind, verdict.why}, static_cast<Json::UInt>(words.size()));
      row.push_back(word->second);
      if (!isNew) continue;
      Json::Value& phrase = node["words"].append(Json::Value(Json::arrayValue));
      phrase.append(std::string(NameOf(verdict.kind)));
      phrase.append(ValidUtf8(verdict.why));
    }
    const auto [known, isNew] = rows.try_emplace(row, static_cast<Json::UInt>(rows.size()));
    node["lines"].append(known->second);
    if (!isNew) continue;
    Json::Value& cells = node["rows"].append(Json::Value(Json::arrayValue));
    for (const Json::UInt word : row) cells.append(word);
  }
  return node;
}

}  // namespace

Json::Value StoryAsPageData(const Story& story) {
  Json::Value data = StoryAsJson(story);
  std::vector<LogText> unread;
  if (story.logs.empty()) {
    unread.push_back({story.logFile, ""});
    FileUtil::LoadStringFromFile(story.logFile, unread.front().text);
  }
  const std::vector<LogText>& logs = story.logs.empty() ? unread : story.logs;
  data["logs"] = Json::Value(Json::arrayValue);
  for (size_t i = 0; i < logs.size(); ++i) data["logs"].append(LogNode(story, i, logs[i]));
  for (Json::ArrayIndex i = 0; i < data["runs"].size(); ++i) {
    if (story.runs[i].isEveryLineAsked) data["runs"][i]["verdicts"] = VerdictsNode(story.runs[i]);
  }
  data["keys"] = Json::Value(Json::arrayValue);
  for (const std::string& key : KeysOf(story)) data["keys"].append(KeyAsJson(story, key));
  data["askedKey"] = ValidUtf8(story.askedKey);
  return data;
}

void PrintStoryAsPage(const Story& story, std::ostream& out) {
  PrintPage({"kestrix explain", kStoryPageBody, {kStoryPageScript}}, StoryAsPageData(story), out);
}

void PrintLivePage(const Json::Value& live, std::ostream& out) {
  Json::Value data;
  data["live"] = live;
  PrintPage({"kestrix live", kStoryPageBody, {kStoryPageScript, kLivePageScript}, true}, data, out);
}
