// The scan of a log. Between two matches nothing about the rules changes, so a filter made for the rules in play names
// the lines that are worth evaluating, and the lines between them are only counted. The outcome is that of evaluating
// every rule on every line.

#include <algorithm>
#include <utility>

#include "analysis/analysis.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

constexpr size_t kFewRules = 4;        // so few are tried one by one
constexpr size_t kLinesForTexts = 12;  // lines on which plain texts are looked for one by one before a filter is made

bool IsEmptyOrIndented(std::string_view line) { return line.empty() || line[0] == '\t' || line[0] == ' '; }

}  // namespace

// A rule of the frame, as far as it can be tried.
struct Analysis::Turn {
  enum class Wait {
    kNot,       // it is in play
    kRecord,    // for a record that its dependency asks for
    kVariable,  // for a record that one of its variables asks for
    kTrial,     // to be tried: its variables are filled then
  };
  FeatureRule* rule;  // null once spent
  Wait wait;
};

struct Analysis::Scan {
  // Moves to the next line, and returns this one.
  TextLine takeLine() {
    const TextLine line = reader.lineAt(pos);
    pos = line.next;
    if (line.size() <= kMaxLineLen) ++number;
    return line;
  }

  LineReader& reader;
  size_t pos;        // beginning of the next line
  int32_t skipStep;  // examined lines without a match after which the scan stops...
  int32_t left;      // ...of which so many are left
  LineFinder finder{reader};
  TextLine current{};           // the last line examined, with none `next` is 0
  size_t unmatchedFrom = pos;   // behind the last line that is known to match
  bool segmentStarted = false;  // changes with the record names only
  bool ranOut = false;          // lines were asked for past the end of the log

  FeatureLines* shared = nullptr;  // null as well from where it has given up
  size_t sharedCursor = 0;
  size_t number = 0;  // of lines before `pos`, overlong ones aside, while `shared` is used

  std::vector<Turn> turns = {};  // all rules, in their order
  size_t inPlay = 0;
  size_t toTry = 0;                              // rules that wait for their trial: every line counts until then
  std::unique_ptr<RuleFilter> filter = nullptr;  // null as long as all rules are tried on every line
  bool isFilterStale = false;
  size_t triedLines = 0;
  VainWork vain = {};
};

size_t Analysis::scanFrom(LineReader& reader, size_t begin, int32_t skipStep) {
  Scan scan{.reader = reader, .pos = begin, .skipStep = skipStep, .left = skipStep};
  scan.shared = shared_;
  scanLines(scan);
  settleLastValues();
  // A search backwards may have left another line.
  if (scan.current.next > 0) makeCurrent(scan, scan.current);
  return scan.ranOut ? reader.size() : scan.current.begin;
}

void Analysis::scanLines(Scan& scan) {
  beginTurns(scan);
  while (true) {
    planScan(scan);
    if (mayLeaveOutLines(scan) && !skipLines(scan)) return reportEnd(ScanEnd::kSkipLimit);
    if (scan.pos >= scan.reader.size()) break;
    const TextLine line = scan.takeLine();
    const LineFate fate = fateOf(scan, line);
    if (reportsEveryLine()) reportLine(scan, line, fate);
    if (fate != LineFate::kExamined) continue;
    makeCurrent(scan, line);
    const size_t recordCount = recordCount_;
    if (FeatureRule* rule = firstMatch(scan)) {
      reportMatch(scan, *rule);
      takeLines(scan, *rule);
      if (recordCount_ == recordCount) scan.vain.add(1);
      scan.left = scan.skipStep;
      scan.unmatchedFrom = scan.pos;
    } else if (--scan.left == 0 && reachesSkipLimit(scan)) {
      return reportEnd(ScanEnd::kSkipLimit);
    }
    if (frame_->rules.empty()) return reportEnd(ScanEnd::kNoRuleLeft);
  }
  reportEnd(ScanEnd::kEndOfLog);
  scan.ranOut = true;
}

void Analysis::beginTurns(Scan& scan) {
  newNames_.clear();
  checkSegmentStart(scan.segmentStarted);
  for (FeatureRule& rule : frame_->rules) scan.turns.push_back({&rule, Turn::Wait::kRecord});
  for (size_t i = 0; i < scan.turns.size(); ++i) setTurn(scan, i);
}

// Finds out what a rule that may have waited waits for now.
void Analysis::setTurn(Scan& scan, size_t index) const {
  Turn& turn = scan.turns[index];
  if (turn.wait == Turn::Wait::kNot) --scan.inPlay;
  if (turn.wait == Turn::Wait::kTrial) --scan.toTry;
  if (checkDepend(*turn.rule)) {
    turn.wait = Turn::Wait::kRecord;
  } else if (!hasVariable(*turn.rule)) {
    turn.wait = Turn::Wait::kNot;
    ++scan.inPlay;
    scan.isFilterStale = true;
  } else if (!hasVariableToFill(*turn.rule)) {
    turn.wait = Turn::Wait::kVariable;
  } else {
    turn.wait = Turn::Wait::kTrial;
    ++scan.toTry;
  }
  if (scan.filter != nullptr) scan.filter->play(index, turn.wait == Turn::Wait::kNot);
}

// Between two lines: follows what the last one has changed, and makes the filter once the log proves long enough.
void Analysis::planScan(Scan& scan) {
  if (!newNames_.empty()) followNames(scan);
  if (reportsEveryLine() || frame_->rules.empty()) return;
  if (scan.filter == nullptr) {
    if (scan.pos < scan.reader.size() && isWorthFilter(scan)) makeFilter(scan);
  } else if (scan.vain.isMuch() && scan.shared == nullptr) {
    scan.filter->apply();
    scan.filter->chooseBy(scan.reader.linesFrom(scan.pos).substr(0, VainWork::kSampleSize));
    scan.finder.forget();
    scan.vain.restart();
  }
  if (scan.filter != nullptr && scan.isFilterStale) {
    scan.filter->apply();
    scan.finder.forget();
    scan.isFilterStale = false;
  }
}

// Only rules that wait for one of the new names change.
void Analysis::followNames(Scan& scan) {
  const std::vector<std::string> names = std::exchange(newNames_, {});
  scan.segmentStarted = scan.segmentStarted || std::any_of(names.begin(), names.end(), BeginsSegment);
  for (size_t i = 0; i < scan.turns.size(); ++i) {
    const auto [rule, wait] = scan.turns[i];
    if (rule == nullptr || wait == Turn::Wait::kNot || wait == Turn::Wait::kTrial) continue;
    const bool isMet = std::any_of(names.begin(), names.end(), [rule = rule, wait = wait](const std::string& name) {
      return wait == Turn::Wait::kRecord ? name.find(rule->depend) != std::string::npos : hasVariableOf(*rule, name);
    });
    if (isMet) setTurn(scan, i);
  }
}

// A few lines are searched for a few texts sooner than a filter is made. Making an expression costs more than either.
bool Analysis::isWorthFilter(const Scan& scan) const {
  if (scan.shared != nullptr) return scan.inPlay > kFewRules && scan.triedLines >= kLinesForTexts;
  if (cache_->servesManyLogs() || scan.triedLines >= kLinesForTexts) return true;
  return std::any_of(scan.turns.begin(), scan.turns.end(), [](const Turn& turn) {
    return turn.rule != nullptr && turn.wait == Turn::Wait::kNot && FormOf(turn.rule->keyWords) == KeyWordForm::kRegex;
  });
}

void Analysis::makeFilter(Scan& scan) const {
  std::vector<const FeatureRule*> rules;
  for (const Turn& turn : scan.turns) rules.push_back(turn.rule);
  const auto finds = observer_ == nullptr ? PatternSearch::Finds::kEffects : PatternSearch::Finds::kMatches;
  scan.filter = std::make_unique<RuleFilter>(cache_->searchFor(rules, finds), rules.size());
  for (size_t i = 0; i < scan.turns.size(); ++i) {
    scan.filter->play(i, scan.turns[i].rule != nullptr && scan.turns[i].wait == Turn::Wait::kNot);
  }
  scan.isFilterStale = true;
  scan.vain = {};
}

bool Analysis::mayLeaveOutLines(const Scan& scan) {
  if (scan.shared != nullptr) return true;
  return scan.filter != nullptr && scan.toTry == 0 && !scan.filter->needsEveryLine();
}

// Moves to the next line worth evaluating and counts the lines on the way. False when the scan stops at one of them.
bool Analysis::skipLines(Scan& scan) {
  if (scan.shared != nullptr) return skipSharedLines(scan);
  while (scan.pos < scan.reader.size()) {
    size_t target = scan.pos;
    const bool isFound = scan.finder.next(target, *scan.filter);
    while (scan.pos < target) {
      const TextLine line = scan.takeLine();
      if (!examines(scan, line)) continue;
      scan.current = line;
      if (--scan.left == 0 && reachesSkipLimit(scan)) return false;
    }
    if (isFound) return true;
  }
  return true;
}

// The same with the lines that are found for all features. Each of them that a rule matches is found.
bool Analysis::skipSharedLines(Scan& scan) const {
  while (scan.pos < scan.reader.size()) {
    const FeatureLines::Place place = scan.shared->next(feature_, scan.pos, scan.sharedCursor);
    const size_t passed = place.number - std::min(place.number, scan.number);
    if (passed >= static_cast<size_t>(scan.left)) return false;
    scan.left -= static_cast<int32_t>(passed);
    scan.number += passed;
    scan.pos = place.begin;
    if (place.kind == FeatureLines::Place::Kind::kMayMatch) return true;
    if (place.kind == FeatureLines::Place::Kind::kNothing) continue;
    scan.shared = nullptr;
    scan.reader.widen(window_);
    return true;
  }
  return true;
}

// The filter skips matches that would take nothing, but even those reset the skip counter. Looks for the last such
// match; when there is one, restarts the count behind it and returns false.
bool Analysis::reachesSkipLimit(Scan& scan) {
  if (scan.shared != nullptr || !mayLeaveOutLines(scan) || !scan.filter->leavesOutMatches()) return true;
  const TextLine last = scan.current;
  const auto isMatch = [this, &scan](const TextLine& line) {
    if (!examines(scan, line)) return false;
    makeCurrent(scan, line);
    return firstMatch(scan) != nullptr;
  };
  const auto match = scan.finder.lastMatch(scan.unmatchedFrom, scan.pos, *scan.filter, isMatch);
  if (!match) {
    scan.current = last;
    return true;
  }
  scan.pos = match->next;
  scan.unmatchedFrom = match->next;
  scan.left = scan.skipStep;
  return false;
}

// Overlong lines are passed over, and in the segment part empty and indented ones too.
LineFate Analysis::fateOf(const Scan& scan, const TextLine& line) {
  if (line.size() > kMaxLineLen) return LineFate::kOverlong;
  if (!scan.segmentStarted) return LineFate::kExamined;
  return IsEmptyOrIndented(scan.reader.view(line)) ? LineFate::kIndented : LineFate::kExamined;
}

void Analysis::reportLine(const Scan& scan, const TextLine& line, LineFate fate) const {
  if (observer_ == nullptr) return;
  std::string text;
  scan.reader.copy(line, text);
  observer_->onLine(text, line.begin, fate);
}

// For an observer to which the line and the trials on it have not been reported.
void Analysis::reportMatch(const Scan& scan, const FeatureRule& rule) const {
  if (observer_ == nullptr || reportsEveryLine()) return;
  reportLine(scan, scan.current, LineFate::kExamined);
  observer_->onRule(rule, RuleOutcome::kSelects);
}

void Analysis::reportEnd(ScanEnd reason) const {
  if (observer_ != nullptr) observer_->onScanEnd(reason);
}

void Analysis::makeCurrent(Scan& scan, const TextLine& line) {
  scan.current = line;
  scan.reader.copy(line, curLine_);
  // What a stream gives as the position behind a last line without a line feed is -1.
  const std::streamoff behind = line.hasLineFeed() ? static_cast<std::streamoff>(line.next) : -1;
  curPosition_ = static_cast<int32_t>(behind - static_cast<std::streamoff>(curLine_.size()) - 1);
}

// The first rule that selects the current line, or null.
FeatureRule* Analysis::firstMatch(Scan& scan) {
  ++scan.triedLines;
  const bool mayClassify = scan.filter != nullptr && scan.inPlay > kFewRules;
  bool isClassified = false;
  for (size_t i = 0; i < scan.turns.size(); ++i) {
    const auto [rule, wait] = scan.turns[i];
    if (rule == nullptr) continue;
    if (reportsEveryLine() || wait == Turn::Wait::kTrial) {
      const RuleOutcome outcome = judge(*rule);
      if (wait == Turn::Wait::kTrial) noteFilled(scan, i);
      if (outcome == RuleOutcome::kSelects) return rule;
      continue;
    }
    if (wait != Turn::Wait::kNot) continue;
    if (mayClassify) {
      if (!isClassified) scan.filter->classify(curLine_);
      isClassified = true;
      if (!scan.filter->mayMatch(i)) continue;
    }
    if (isKeyWordsMatch(curLine_, *rule)) return rule;
    if (rule->keyWords.starts_with(kRegexMark)) scan.vain.add(1);
  }
  scan.vain.add(1);
  return nullptr;
}

// A rule's variables were filled: it has a text of its own now, perhaps with other variables in it.
void Analysis::noteFilled(Scan& scan, size_t index) const {
  if (scan.filter != nullptr) scan.filter->fill(index, *scan.turns[index].rule);
  scan.isFilterStale = true;
  setTurn(scan, index);
}

// Takes the parameters from the current line and from those that the rule spans, and erases the rule when it is spent.
void Analysis::takeLines(Scan& scan, FeatureRule& rule) {
  const bool done = parseLineByParam(curLine_, rule);
  for (int32_t i = 1; i < rule.num; ++i) {
    if (scan.pos >= scan.reader.size()) {
      scan.ranOut = true;
      break;
    }
    const TextLine line = scan.takeLine();
    reportLine(scan, line, LineFate::kSpanned);
    makeCurrent(scan, line);
    // Such a line is not kept.
    if (line.size() > kMaxLineLen) settleLastValues();
    parseLineByParam(curLine_, rule);
  }
  if (lastValues_ != nullptr && lastValues_->isFull()) scan.vain.add(settleLastValues());
  if (!done || rule.command != kPlainCommand) return;
  if (observer_ != nullptr) observer_->onSpent(rule);
  retire(scan, rule);
  frame_->rules.remove_if([&rule](const FeatureRule& other) { return &other == &rule; });
}

void Analysis::retire(Scan& scan, const FeatureRule& rule) const {
  size_t index = 0;
  while (scan.turns[index].rule != &rule) ++index;
  Turn& turn = scan.turns[index];
  turn.rule = nullptr;
  if (turn.wait == Turn::Wait::kNot) --scan.inPlay;
  if (turn.wait == Turn::Wait::kTrial) --scan.toTry;
  // Lines go on being found for it until they prove too many.
  if (scan.filter != nullptr) scan.filter->play(index, false);
}

// Whether the rule selects the current line. Fills its variables on the way, unless its dependency is not met.
RuleOutcome Analysis::judge(FeatureRule& rule) const {
  RuleOutcome outcome = RuleOutcome::kKeyWordsNotFound;
  if (checkDepend(rule)) {
    outcome = RuleOutcome::kDependencyNotMet;
  } else if (!checkVariableParam(rule)) {
    outcome = RuleOutcome::kVariableOpen;
  } else if (isKeyWordsMatch(curLine_, rule)) {
    outcome = RuleOutcome::kSelects;
  }
  if (reportsEveryLine()) observer_->onRule(rule, outcome);
  return outcome;
}
