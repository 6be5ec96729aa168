#ifndef ANALYSIS_ANALYSIS_H
#define ANALYSIS_ANALYSIS_H

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "analysis/feature_lines.h"
#include "analysis/last_values.h"
#include "analysis/line_finder.h"
#include "analysis/line_info.h"
#include "analysis/record_list.h"
#include "analysis/run_observer.h"
#include "analysis/search_cache.h"
#include "rules/rule_records.h"
#include "util/byte_source.h"
#include "util/line_reader.h"

// One run of one feature's rules over one log file. analysisLog() is the whole run: it scans the log line by line,
// records the parameters of the lines that the rules select, and builds the result map from the records by the
// templates. The other operations are its steps. The frame belongs to the caller; a run erases rules and parameters
// from it and writes values into its variables. One object serves one run on one thread. An invalid regular expression
// raises std::regex_error when it is first applied to a line, which ends the process on the device.
class Analysis {
 public:
  // `pid` and `type` appear in log lines only. `templates`: result key -> template.
  Analysis(int32_t pid, std::string type, FeatureFrame* frame, std::map<std::string, std::string> templates);
  ~Analysis();

  // Sets the observer; null, the default, removes it.
  void observe(RunObserver* observer) { observer_ = observer; }

  // Has the log read through a buffer of `bytes`, any number: the outcome is the same.
  void setWindow(size_t bytes) { window_ = bytes; }

  // Has records left out that cannot change the result, so that a log with a record on every line takes no more memory
  // than another. getRecords() is then not complete.
  void keepNeededRecords() { keepsNeeded_ = true; }

  // Takes what is made from the texts of rules out of `cache`, and leaves it there for the next run.
  void use(SearchCache& cache) { cache_ = &cache; }

  // Has `log`, which is open, read for the lines in place of the frame's, and for the stacks while the two are the
  // same.
  void readFrom(ByteSource& log) { log_ = &log; }

  // Has the log of `lines` read, and only what it finds for `feature`: that has all rules of the frame. REQUIRES: it
  // can be found, and there is no observer.
  void share(FeatureLines& lines, size_t feature) {
    readFrom(lines.log());
    shared_ = &lines;
    feature_ = feature;
  }

  // Counts rules that the frame should have but that cannot come into play, where the log tells the number of rules.
  void setRulesLeftOut(size_t count) { rulesLeftOut_ = count; }

  // --- The run ---

  // True when at least one record was made; the result map is then filled, and getStatus() stays -1. Otherwise the
  // status is 2.
  bool analysisLog();

  // Reads the frame's log file and scans it. Status 1 when it cannot be read.
  void match();

  // Scans `content` from its read position to its end, to the skip limit or until no rule is left. Lines over 2048
  // bytes are passed over.
  void rawInfoPosition(std::stringstream& content);

  // Whether the segment part of the log has begun: a record name holds "LayerOneCmd" or "LayerTwoCmd". Sets `started`
  // then; true at once when it is set already.
  bool checkSegmentStart(bool& started) const;

  // Builds the result map from the records. Keys that it holds already stay, except "REASON", which is appended to.
  void assemble();

  // --- Does a rule select a line? ---

  // Judges the rule's keyword expression: "@R@" and a regular expression, terms separated by "@|@" or "@&@", or plain
  // text. Empty keywords select every line.
  bool isKeyWordsMatch(const std::string& line, const FeatureRule& rule) const;

  // True when the line holds any term of an "@|@" expression. Empty terms do not count.
  bool isMatchOrExpression(const std::string& line, const std::string& expression) const;

  // True when the line holds all terms of an "@&@" expression, in order and without overlap. Empty terms do not count.
  bool isMatchAndExpression(const std::string& line, const std::string& expression) const;

  // True when the rule must be PASSED OVER: it depends on a record that has not been made.
  bool checkDepend(const FeatureRule& rule) const;

  // Cuts a pattern text at its first "@L@": true and the text behind it; false and all of it when there is none.
  bool getSeekInfo(const std::string& text, std::string& out) const;

  // Makes `line`, just read from `content`, the current line. Returns the read position behind it, -1 at the end.
  std::streampos getCursorInfo(std::stringstream& content, const std::string& line);

  // --- What is taken from a line ---

  // Records the parameters of `rule` that `line` yields. A parameter of a plain rule is erased once taken, unless it is
  // marked "@L@". True when none is left and none was marked.
  bool parseLineByParam(const std::string& line, FeatureRule& rule);

  // Appends a record; with mode 1 the first one of that name is removed before.
  void setParamRecord(const std::string& name, const LineInfo& info, int mode);

  // True when the rule's keywords, its dependency or a parameter pattern holds both marks, wherever they stand.
  bool checkVariable(const FeatureRule& rule, const std::string& open, const std::string& close) const;

  // Writes recorded values into the rule's "@{name}@" variables. True when no variable is left.
  bool checkVariableParam(FeatureRule& rule) const;

  // Copies `source` to `out` with its first `variable` replaced by `value`. False when there is none.
  bool replaceVariable(const std::string& source, const std::string& variable, const std::string& value,
                       std::string& out) const;

  // Replaces the first `variable` in each of the rule's keywords, dependency and parameter patterns.
  void replaceVariable(FeatureRule& rule, const std::string& variable, const std::string& value) const;

  // `text` with the position of the current line. The second argument is not used.
  LineInfo formatLineFeature(const std::string& text, const std::string& other) const;

  // --- What becomes of the records ---

  // The value of one template: the contributions of its records, joined with " " where it is written with "+", with ":"
  // where it is written with ":". Empty when nothing contributes.
  std::string assembleParam(const std::string& templateText) const;

  // The record names of a template, separated by "+" or, when it has none, by ":".
  std::vector<std::string> splitAssembleParam(const std::string& templateText) const;

  // Reads `path` again and cuts out the stack trace that starts at the line of the first record called `name`, with
  // `pattern` for its frames. Lines end in a line feed. Empty when there is no such record, file or trace.
  std::string assembleTrace(const std::string& path, const std::string& name, const std::vector<Record>& records,
                            const std::string& pattern) const;

  // Registers `pattern`, which holds the mark "@T@", as the stack pattern of a record; the first one of a name stays. A
  // pattern without the mark is ignored.
  void setStackRegex(const std::string& name, const std::string& pattern);

  // Removes the leading ":" of "REASON".
  void processResult(std::map<std::string, std::string>& result) const;

  // -1 not decided or success, 1 log file not readable, 2 nothing found.
  int32_t getStatus() const { return status_; }

  // In the order in which they were made; all of them unless keepNeededRecords() was called.
  const std::vector<Record>& getRecords() const { return records_.all(); }

  const std::map<std::string, std::string>& getResult() const { return result_; }

  // Gives the results away.
  std::map<std::string, std::string> takeResult() { return std::move(result_); }

 private:
  struct Turn;
  struct Scan;

  bool scanWhole(ByteSource& log);
  size_t rawInfoPosition(LineReader& reader, size_t begin);
  size_t scanFrom(LineReader& reader, size_t begin, int32_t skipStep);
  void scanLines(Scan& scan);
  void beginTurns(Scan& scan);
  void setTurn(Scan& scan, size_t index) const;
  void planScan(Scan& scan);
  void followNames(Scan& scan);
  bool isWorthFilter(const Scan& scan) const;
  void makeFilter(Scan& scan) const;
  static bool mayLeaveOutLines(const Scan& scan);
  bool skipLines(Scan& scan);
  bool skipSharedLines(Scan& scan) const;
  bool reachesSkipLimit(Scan& scan);
  static LineFate fateOf(const Scan& scan, const TextLine& line);
  static bool examines(const Scan& scan, const TextLine& line) { return fateOf(scan, line) == LineFate::kExamined; }
  bool reportsEveryLine() const { return observer_ != nullptr && observer_->wantsEveryLine(); }
  void reportLine(const Scan& scan, const TextLine& line, LineFate fate) const;
  void reportMatch(const Scan& scan, const FeatureRule& rule) const;
  void reportEnd(ScanEnd reason) const;
  void makeCurrent(Scan& scan, const TextLine& line);
  FeatureRule* firstMatch(Scan& scan);
  void noteFilled(Scan& scan, size_t index) const;
  void takeLines(Scan& scan, FeatureRule& rule);
  void retire(Scan& scan, const FeatureRule& rule) const;

  bool takeParam(const std::string& line, const FeatureRule& rule, const std::string& key, const std::string& text);
  const LastValues::Params* keepForLastValues(const std::string& line, const FeatureRule& rule);
  void putOffLastValues();
  bool isAwaited(const std::string& name) const;
  void makeRecord(const std::string& name, LineInfo info, int mode);
  void appendParam(const std::string& templateText, std::string& out) const;
  size_t settleLastValues();
  RuleOutcome judge(FeatureRule& rule) const;
  bool hasVariable(const FeatureRule& rule) const;
  std::unordered_map<std::string, size_t> recordsTaken() const;
  size_t recordsFilled(const std::string& name) const;
  bool hasVariableToFill(const FeatureRule& rule) const;
  static bool hasVariableOf(const FeatureRule& rule, const std::string& record);

  int32_t pid_;
  std::string type_;
  int32_t curPosition_ = 0;  // offset of the current line's first byte
  int32_t status_ = -1;
  std::string curLine_;
  FeatureFrame* frame_;
  RunObserver* observer_ = nullptr;
  size_t window_ = LineReader::kWindow;
  bool keepsNeeded_ = false;
  size_t rulesLeftOut_ = 0;
  ByteSource* log_ = nullptr;  // null when the frame's is to be opened
  FeatureLines* shared_ = nullptr;
  size_t feature_ = 0;                                // in it
  std::map<std::string, std::string> stackPatterns_;  // record name -> regular expression
  RecordList records_;
  std::map<std::string, std::string> templates_;
  std::map<std::string, std::string> result_;
  std::vector<std::string> newNames_;  // of records, since the rules that wait for one were looked at
  size_t recordCount_ = 0;             // records made, and lines kept that may make one
  bool mayPutOff_ = false;             // values for "@L@"
  size_t lastValueCount_ = 0;          // of those, taken from their lines at once
  std::unique_ptr<LastValues> lastValues_;
  SearchCache ownCache_;
  SearchCache* cache_ = &ownCache_;
};

#endif  // ANALYSIS_ANALYSIS_H
