#include <json/json.h>

#include <algorithm>
#include <ostream>
#include <set>

#include "cli/explain/print_story.h"
#include "cli/output/lines.h"
#include "cli/output/page_shell.h"
#include "cli/output/utf8.h"
#include "util/file_util.h"
#include "util/limits.h"

// Embedded when the program is built.
extern const std::string_view kStoryPageBody;
extern const std::string_view kStoryPageScript;

namespace {

constexpr size_t kMaxWholeLog = 16 * 1024 * 1024;  // bytes
constexpr size_t kMaxLineShown = 2 * kMaxLineLen;  // bytes; what the library examines, and some of what it does not
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
  const bool isWhole = log.text.size() <= kMaxWholeLog;
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
  node["path"] = ValidUtf8(log.path == story.logPath ? story.logName : log.path);
  node["lines"] = static_cast<Json::UInt64>(lines);
  node["isWhole"] = isWhole;
  return node;
}

}  // namespace

void PrintStoryAsPage(const Story& story, std::ostream& out) {
  Json::Value data = StoryAsJson(story);
  std::vector<LogText> unread;
  if (story.logs.empty()) {
    unread.push_back({story.logPath, ""});
    FileUtil::LoadStringFromFile(story.logPath, unread.front().text);
  }
  const std::vector<LogText>& logs = story.logs.empty() ? unread : story.logs;
  data["logs"] = Json::Value(Json::arrayValue);
  for (size_t i = 0; i < logs.size(); ++i) data["logs"].append(LogNode(story, i, logs[i]));
  PrintPage({"kestrix explain", kStoryPageBody, kStoryPageScript}, data, out);
}
