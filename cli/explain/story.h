#ifndef CLI_EXPLAIN_STORY_H
#define CLI_EXPLAIN_STORY_H

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/run_observer.h"
#include "cli/rule_files/rule_places.h"
#include "stack/stack_observer.h"

// The whole story of one call of the library, for every form in which it is shown. Texts are those of the log and of
// the rule files, whatever bytes they hold. What grows with the log is kept in part: see FirstOf.

// The first few of many, and how many there were.
template <typename T, size_t kMaxKept>
struct FirstOf {
  std::vector<T> kept;
  size_t count = 0;

  bool isFull() const { return kept.size() >= kMaxKept; }

  // The element, or null when it is one too many to be kept. Good until the next one is added.
  T* add(T element) {
    ++count;
    if (isFull()) return nullptr;
    kept.push_back(std::move(element));
    return &kept.back();
  }
};

// A line of a run's log, without its line feed.
struct LogLine {
  size_t number = 0;  // from 1; 0 for no line
  size_t offset = 0;  // bytes
  size_t length = 0;  // bytes
};

// --- Which features run ---

struct IdStory {
  std::string id;
  FilePlace place;
  bool isTaken = false;
  std::string why;  // taken or refused
};

// A frame entry of the match file.
struct EntryStory {
  std::string key;
  FilePlace place;
  std::string why;  // the library does not look at the entry's ids; empty when it does
  std::vector<IdStory> ids;
};

// --- What a rule makes of a line ---

enum class VerdictKind {
  kSelects,  // the first four as RuleOutcome
  kDependencyNotMet,
  kVariableOpen,
  kKeyWordsNotFound,
  kTaken,       // an earlier rule takes the line; its dependency and its keywords would do
  kSpent,       // the rule has left the run
  kPassedOver,  // the line is shown to no rule: overlong, indented, read for the "num" of another rule
  kNotReached,  // the scan stopped before, or the log has no such line
  kSpans,       // the rule takes the line for its "num", by which it selected one before
};
inline constexpr size_t kVerdictKinds = 9;

struct Verdict {
  VerdictKind kind = VerdictKind::kSelects;
  std::string why;  // in words: "term 2 of 3 is missing after column 41"
};

struct LineVerdict {
  LogLine line;
  Verdict verdict;
};

// A parameter that was looked for in a line.
struct ParamStory {
  std::string key;
  LogLine line;
  std::optional<std::string> value;  // none: not found
  size_t offset = 0;                 // of the value in its line
  bool isStackPattern = false;       // "@T@": the line is noted, the value comes later
  std::string pattern = {};          // of one that was not found, its variables filled...
  std::string why = {};              // ...and how far that got; known of the first few
};

// A line that a rule selected.
struct SelectedLine {
  LogLine line;
  FirstOf<ParamStory, 200> params;  // those of the lines that a "num" spans included
};

struct RuleStory {
  std::string name;
  std::string command;  // "rules" or "segmentRule"
  std::string keyWords;
  std::string filledKeyWords;  // as they were tried last, where variables were filled; else empty
  std::string depend;
  std::map<std::string, std::string> params;  // key -> pattern, as written
  FilePlace place;
  FirstOf<SelectedLine, 1000> selected;
  size_t failedParams = 0;                          // looked for in selected lines and not found
  std::array<size_t, kVerdictKinds> verdicts = {};  // lines by VerdictKind, up to kTaken
  FirstOf<LineVerdict, 20> nearest;  // of the lines that the rule did not select, those that came nearest
  LogLine spentAt;                   // number 0: never
};

// --- What a run gives ---

struct RecordStory {
  std::string name;
  size_t rule = 0;  // the one that made it, an index of RunStory::rules
  LogLine line;
  std::string value;
  size_t count = 0;        // records of that name; this is the first one, which counts
  bool isStack = false;    // its value comes with the templates
  std::string stack = {};  // that was cut from the log there, where a template asks for it...
  std::string why = {};    // ...and which lines were tried for it, in words
};

struct ContributionStory {
  std::string record;  // its name
  bool isThere = false;
  std::string value;     // of a stack pattern, the stack
  std::string why = {};  // that is empty, in words
};

struct TemplateStory {
  std::string key;
  std::string text;
  FilePlace place;
  std::vector<ContributionStory> contributions;
  std::string value;
  std::string lostTo;  // the feature id whose run gave the key before; empty for a value that counts or is empty
};

// How each rule of a run fared on a line that the user asks about.
struct LineStory {
  LogLine line;
  bool isThere = true;                // false when the log has no such line
  std::vector<LineVerdict> verdicts;  // by rule
  std::vector<ParamStory> params;     // that were looked for in it, by the rule that selects or spans it
};

struct RunStory {
  std::string featureId;
  FilePlace place;  // of the id in the match file
  std::string logPath;
  size_t log = 0;  // an index of Story::logs
  bool isReadable = true;
  int skip = 0;  // lines in a row without a match after which the scan stops
  std::vector<RuleStory> rules;
  std::array<size_t, 4> lines = {};  // by LineFate
  ScanEnd end = ScanEnd::kEndOfLog;
  LogLine lastLine;                      // that was read
  LogLine lastMatch;                     // selected by any rule; number 0: none
  std::vector<RecordStory> records;      // by name
  std::vector<TemplateStory> templates;  // by key; none when there are no records
  std::vector<TemplateStory> planned;    // as templates, of what was to be assembled: no record is there yet
  std::vector<LineStory> asked;          // the line that the user asks about, or all lines that were read
  bool isEveryLineAsked = false;
};

// --- The stack ---

enum class FrameForm { kJava, kNative, kKernel, kHyphen, kCause, kOther };

// A line of "STACK" before it is filtered.
struct FrameStory {
  std::string text;
  LogLine line;  // of the log that the stack was cut from; number 0 when not known
  FrameForm form = FrameForm::kOther;
  FrameFate fate = FrameFate::kKept;
  bool isCut = false;       // by the limit of lines
  std::string name;         // what stands for the line in the filtered stack
  std::string ignoredName;  // the name in it that makes it noise, if there is one...
  int ignoredLevel = 0;     // ...and the level that lists it, from 1
  size_t block = 0;         // an index of StackStory::blocks

  // Whether a line of the filtered stack is made from it, if it is not cut and its name not empty.
  bool isNamed() const {
    return fate == FrameFate::kKept || fate == FrameFate::kIgnoredButKept || fate == FrameFate::kHeading;
  }
  bool isInFilteredStack() const { return isNamed() && !isCut && !name.empty(); }
};

// The frames of one exception, in the order of the filtered stack.
struct BlockStory {
  std::string heading;  // the exception's plain name; empty for the head of the trace
  size_t frames = 0;    // names in it
  bool namesTheStack = false;
};

struct StackStory {
  std::string featureId;           // whose run gave it
  size_t lineCount = 0;            // of what it gave; the filter passes over empty ones
  std::vector<FrameStory> frames;  // in the order of the log
  std::vector<BlockStory> blocks;  // in the order of the filtered stack
  std::string filtered;
  std::map<std::string, std::string> named;  // "FST_FRAME"... -> "stack" or "template", which gave it
};

// --- All of it ---

struct LogText {
  std::string path;
  std::string text;
};

struct Story {
  std::string logName;     // as the user wrote it
  std::string logPath;     // as the library sees it
  std::string logFile;     // what is read for it
  bool isStandIn = false;  // the file stands in for a log of the device at that path
  std::string configDir;
  std::string eventType;
  bool hasPathTests = false;
  std::optional<size_t> askedLine;
  size_t askedVerdicts = 0;  // above 0: all lines of a run are asked about, unless that takes more verdicts
  std::string askedRule;     // empty: all
  std::string askedKey;      // of a result; empty: all

  std::vector<EntryStory> entries;  // in the order in which the library visits them
  std::vector<RunStory> runs;       // in priority order
  std::map<std::string, std::string> result;
  std::optional<StackStory> stack;
  std::vector<std::string> health;  // remarks about the log, each with what the library does about it
  std::vector<LogText> logs;        // that the runs read
  std::vector<std::string> faults;  // where this story and the library disagree: errors of this program

  // The text of a line of a run.
  std::string_view textOf(const RunStory& run, const LogLine& line) const;
};

// Why and where a run's scan ended, in words.
std::string WhyScanEnded(const RunStory& run);

// What became of a line of the stack, in words.
std::string WhyFate(const FrameStory& frame);

std::string_view NameOf(VerdictKind kind);
std::string_view NameOf(FrameForm form);
std::string_view FateOf(const FrameStory& frame);
std::string_view NameOf(ScanEnd end);
std::string_view NameOf(LineFate fate);

#endif  // CLI_EXPLAIN_STORY_H
