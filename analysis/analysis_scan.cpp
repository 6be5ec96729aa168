// The scan of a log. Between two matches nothing about the rules changes, so a filter made for the rules in play names
// the lines that are worth evaluating, and the lines between them are only counted. The outcome is that of evaluating
// every rule on every line.

#include <algorithm>
#include <utility>

#include "analysis/analysis.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

constexpr size_t kFewRules = 4;    // so few are tried one by one
constexpr int kMaxFruitless = 64;  // lines evaluated for nothing before spent rules are taken out of the filter

bool IsEmptyOrIndented(std::string_view line) { return line.empty() || line[0] == '\t' || line[0] == ' '; }

}  // namespace

struct Analysis::Scan {
  LineReader& reader;
  size_t pos;        // beginning of the next line
  int32_t skipStep;  // examined lines without a match after which the scan stops...
  int32_t left;      // ...of which so many are left
  LineFinder finder{reader};
  TextLine current{};           // the last line examined, with none `next` is 0
  size_t unmatchedFrom = pos;   // behind the last line that is known to match
  bool segmentStarted = false;  // changes with the record names only
  bool ranOut = false;          // lines were asked for past the end of the log

  // The rules in play: dependency met, no variable left. Without a filter all rules are tried on every line.
  std::unique_ptr<RuleFilter> filter = nullptr;
  std::vector<FeatureRule*> rules = {};  // null once spent
  std::vector<bool> mayMatch = {};
  bool isPlanned = false;
  size_t nameCount = 0;  // record names known when the plan was made: a new one may bring rules into play
  size_t spentCount = 0;
  int fruitless = 0;
};

size_t Analysis::scanFrom(LineReader& reader, size_t begin, int32_t skipStep) {
  Scan scan{.reader = reader, .pos = begin, .skipStep = skipStep, .left = skipStep};
  scanLines(scan);
  // A search backwards may have left another line.
  if (scan.current.next > 0) makeCurrent(scan, scan.current);
  return scan.ranOut ? reader.size() : scan.current.begin;
}

void Analysis::scanLines(Scan& scan) {
  while (true) {
    planScan(scan);
    if (scan.filter != nullptr && !skipLines(scan)) return;
    if (scan.pos >= scan.reader.size()) break;
    const TextLine line = scan.reader.lineAt(scan.pos);
    scan.pos = line.next;
    const LineFate fate = fateOf(scan, line);
    tellLine(scan, line, fate);
    if (fate != LineFate::kExamined) continue;
    makeCurrent(scan, line);
    if (FeatureRule* rule = firstMatch(scan)) {
      takeLines(scan, *rule);
      scan.left = scan.skipStep;
      scan.unmatchedFrom = scan.pos;
    } else if (--scan.left == 0 && reachesSkipLimit(scan)) {
      tellEnd(ScanEnd::kSkipLimit);
      return;
    }
    if (frame_->rules.empty()) {
      tellEnd(ScanEnd::kNoRuleLeft);
      return;
    }
  }
  tellEnd(ScanEnd::kEndOfLog);
  scan.ranOut = true;
}

// Finds out which rules are in play, unless that is still known.
void Analysis::planScan(Scan& scan) const {
  if (scan.isPlanned && scan.nameCount == records_.nameCount()) return;
  scan.nameCount = records_.nameCount();
  checkSegmentStart(scan.segmentStarted);
  scan.filter = nullptr;
  scan.rules.clear();
  scan.spentCount = 0;
  scan.fruitless = 0;
  std::vector<const FeatureRule*> inPlay;
  // A variable that a record can fill is filled when its rule is tried next: until then every line counts.
  scan.isPlanned = true;
  for (FeatureRule& rule : frame_->rules) {
    if (checkDepend(rule)) continue;
    if (hasVariableToFill(rule)) scan.isPlanned = false;
    if (hasVariable(rule)) continue;
    scan.rules.push_back(&rule);
    inPlay.push_back(&rule);
  }
  if (!scan.isPlanned || frame_->rules.empty() || observer_ != nullptr) return;
  auto filter = std::make_unique<RuleFilter>(inPlay);
  if (filter->needsEveryLine()) return;
  scan.filter = std::move(filter);
  scan.mayMatch.assign(inPlay.size(), true);
  scan.finder.forget();
}

// Moves to the next line worth evaluating and counts the lines on the way. False when the scan stops at one of them.
bool Analysis::skipLines(Scan& scan) {
  while (scan.pos < scan.reader.size()) {
    size_t target = scan.pos;
    const bool isFound = scan.finder.next(target, *scan.filter);
    while (scan.pos < target) {
      const TextLine line = scan.reader.lineAt(scan.pos);
      scan.pos = line.next;
      if (!examines(scan, line)) continue;
      scan.current = line;
      if (--scan.left == 0 && reachesSkipLimit(scan)) return false;
    }
    if (isFound) return true;
  }
  return true;
}

// The filter may have left out lines that match without any effect but this: the count starts over behind the last of
// them. False when there is one; the scan then goes on from there.
bool Analysis::reachesSkipLimit(Scan& scan) {
  if (scan.filter == nullptr || !scan.filter->leavesOutMatches()) return true;
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

void Analysis::tellLine(const Scan& scan, const TextLine& line, LineFate fate) const {
  if (observer_ == nullptr) return;
  std::string text;
  scan.reader.copy(line, text);
  observer_->onLine(text, line.begin, fate);
}

void Analysis::tellEnd(ScanEnd reason) const {
  if (observer_ != nullptr) observer_->onScanEnd(reason);
}

void Analysis::makeCurrent(Scan& scan, const TextLine& line) {
  scan.current = line;
  scan.reader.copy(line, curLine_);
  // What a stream tells as the position behind a last line without a line feed is -1.
  const std::streamoff behind = line.hasLineFeed() ? static_cast<std::streamoff>(line.next) : -1;
  curPosition_ = static_cast<int32_t>(behind - static_cast<std::streamoff>(curLine_.size()) - 1);
}

// The first rule that selects the current line, or null.
FeatureRule* Analysis::firstMatch(Scan& scan) {
  if (scan.filter == nullptr) {
    const auto rule = std::find_if(frame_->rules.begin(), frame_->rules.end(), [this](FeatureRule& candidate) {
      return judge(candidate) == RuleOutcome::kSelects;
    });
    return rule == frame_->rules.end() ? nullptr : &*rule;
  }
  if (scan.rules.size() > kFewRules) scan.filter->classify(curLine_, scan.mayMatch);
  for (size_t i = 0; i < scan.rules.size(); ++i) {
    FeatureRule* rule = scan.rules[i];
    if (rule != nullptr && scan.mayMatch[i] && isKeyWordsMatch(curLine_, *rule)) return rule;
  }
  if (scan.spentCount > 0 && ++scan.fruitless > kMaxFruitless) scan.isPlanned = false;
  return nullptr;
}

// Takes the parameters from the current line and from those that the rule spans, and erases the rule when it is spent.
void Analysis::takeLines(Scan& scan, FeatureRule& rule) {
  const bool done = parseLineByParam(curLine_, rule);
  for (int32_t i = 1; i < rule.num; ++i) {
    if (scan.pos >= scan.reader.size()) {
      scan.ranOut = true;
      break;
    }
    const TextLine line = scan.reader.lineAt(scan.pos);
    scan.pos = line.next;
    tellLine(scan, line, LineFate::kSpanned);
    makeCurrent(scan, line);
    parseLineByParam(curLine_, rule);
  }
  if (!done || rule.command != kPlainCommand) return;
  if (observer_ != nullptr) observer_->onSpent(rule);
  std::replace(scan.rules.begin(), scan.rules.end(), &rule, static_cast<FeatureRule*>(nullptr));
  if (++scan.spentCount * 2 >= scan.rules.size() || scan.filter == nullptr) scan.isPlanned = false;
  frame_->rules.remove_if([&rule](const FeatureRule& other) { return &other == &rule; });
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
  if (observer_ != nullptr) observer_->onRule(rule, outcome);
  return outcome;
}
