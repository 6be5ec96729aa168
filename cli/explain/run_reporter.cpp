#include "cli/explain/run_reporter.h"

#include <algorithm>
#include <set>

#include "cli/explain/trace_end.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/rule_texts.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"
#include "util/limits.h"

namespace {

constexpr size_t kMaxReasons = 100;  // why parameters were not found, for each rule

std::string LineName(const LogLine& line) { return "line " + std::to_string(line.number); }

// The variables that are still open in a rule, each once.
std::string OpenVariables(const FeatureRule& rule) {
  std::string texts = rule.keyWords + "\n" + rule.depend;
  for (const auto& param : rule.params) texts += "\n" + param.second;
  std::string names;
  std::set<std::string> known;
  for (const Variable& variable : VariablesOf(texts)) {
    if (!variable.isClosed || !known.insert(variable.name).second) continue;
    names += (names.empty() ? "" : ", ") + std::string(kOpenMark) + variable.name + kCloseMark;
  }
  return names.empty() ? "an opening mark without its closing one" : names;
}

}  // namespace

// --- The run and its lines ---

void RunReporter::onRun(const std::string& featureId, const FeatureFrame& frame, const Analysis& run) {
  analysis_ = &run;
  at_ = At::kRules;
  current_ = {};
  selected_ = nullptr;
  makers_.clear();
  contributions_.clear();
  story_.runs.emplace_back();
  this->run().featureId = featureId;
  this->run().logPath = frame.logPath;
  this->run().skip = SkipLimit(frame.skip);
  addRules(frame);
  this->run().log = logOf(frame.logPath);
  planTemplates();
  planVerdicts();
  triedRule_ = 0;
}

void RunReporter::planTemplates() {
  const PlacedTemplates* templates = places_.model().templatesOf({run().featureId, story_.eventType, {}});
  if (templates == nullptr) return;
  for (const PlacedTemplate& planned : templates->templates) {
    TemplateStory story{planned.key, planned.text.text(), {}, {}, "", ""};
    story.place = places_.ofTemplate(story_.eventType, run().featureId, planned.key);
    for (const std::string& name : analysis_->splitAssembleParam(story.text)) {
      story.contributions.push_back({name, false, ""});
    }
    run().planned.push_back(std::move(story));
  }
}

void RunReporter::planVerdicts() {
  const std::string& log = story_.logs[run().log].text;
  const size_t lines = static_cast<size_t>(std::count(log.begin(), log.end(), '\n')) + 1;
  run().isEveryLineAsked = lines * run().rules.size() <= story_.askedVerdicts;
}

bool RunReporter::isAsked(size_t line) const { return story_.runs.back().isEveryLineAsked || story_.askedLine == line; }

void RunReporter::addRules(const FeatureFrame& frame) {
  // The entry whose frame it is: the first one that has the id taken.
  for (size_t i = 0; i < story_.entries.size() && run().place.file.empty(); ++i) {
    for (const IdStory& id : story_.entries[i].ids) {
      if (!id.isTaken || id.id != run().featureId) continue;
      run().place = id.place;
      const std::vector<FilePlace> places = places_.ofRules(places_.model().entries[i], frame.rules);
      size_t rule = 0;
      for (const FeatureRule& loaded : frame.rules) rulePlaces_.try_emplace(&loaded, places[rule++]);
      break;
    }
  }
  live_.clear();
  indexes_.clear();
  for (const FeatureRule& rule : frame.rules) {
    indexes_[&rule] = live_.size();
    live_.push_back({&rule, KeyWordDistance(rule.keyWords)});
    RuleStory story;
    story.name = rule.name;
    story.command = rule.command;
    story.keyWords = rule.keyWords;
    story.depend = rule.depend;
    story.params = rule.params;
    story.place = rulePlaces_[&rule];
    run().rules.push_back(std::move(story));
  }
}

// The index of the log at `path` in the story, which gets it unless it is there.
size_t RunReporter::logOf(const std::string& path) {
  for (size_t i = 0; i < story_.logs.size(); ++i) {
    if (story_.logs[i].path == path) return i;
  }
  story_.logs.push_back({path, ""});
  FileUtil::LoadStringFromFile(path, story_.logs.back().text);
  return story_.logs.size() - 1;
}

void RunReporter::onUnreadableLog() { run().isReadable = false; }

void RunReporter::onLine(std::string_view line, size_t offset, LineFate fate) {
  current_ = {current_.number + 1, offset, line.size()};
  text_ = line;
  ++run().lines[static_cast<size_t>(fate)];
  run().lastLine = current_;
  at_ = fate == LineFate::kSpanned ? At::kParams : At::kRules;
  triedRule_ = 0;
  if (fate == LineFate::kSpanned) tryParams(*live_[selecting_].rule, selecting_);
  if (isAsked(current_.number)) askAboutLine(fate);
}

// Begins the answer for a line that the user asks about; the rules that are tried on it follow.
void RunReporter::askAboutLine(LineFate fate) {
  LineStory& asked = run().asked.emplace_back();
  asked.line = current_;
  Verdict verdict{VerdictKind::kPassedOver, ""};
  if (fate == LineFate::kOverlong)
    verdict.why = "the line is passed over: it has more than " + std::to_string(kMaxLineLen) + " bytes";
  if (fate == LineFate::kIndented) {
    verdict.why = "the line is passed over: it is empty or indented, in the segment part of the log";
  }
  if (fate == LineFate::kSpanned) {
    verdict.why = "the line is passed over: rule " + nameOf(selecting_) + ", which selected " +
                  LineName(run().lastMatch) + ", takes it for its \"num\"";
  }
  for (size_t i = 0; i < live_.size(); ++i) {
    asked.verdicts.push_back({current_, verdict});
    if (fate == LineFate::kSpanned && i == selecting_) {
      asked.verdicts.back().verdict = {VerdictKind::kSpans,
                                       "takes the line for its \"num\", as it selected " + LineName(run().lastMatch)};
    }
    if (live_[i].rule == nullptr) {
      asked.verdicts.back().verdict = {VerdictKind::kSpent, "spent at " + LineName(run().rules[i].spentAt)};
    }
  }
}

// --- Rules on a line ---

void RunReporter::onRule(const FeatureRule& rule, RuleOutcome outcome) {
  const size_t index = indexOf(rule);
  RuleStory& story = run().rules[index];
  if (outcome != RuleOutcome::kVariableOpen && rule.keyWords != story.keyWords) story.filledKeyWords = rule.keyWords;
  ++run().rules[index].verdicts[static_cast<size_t>(outcome)];
  if (outcome != RuleOutcome::kSelects) {
    triedRule_ = index + 1;
    judgeMiss(live_[index], index, outcome, rule);
    return;
  }
  selecting_ = index;
  tryParams(rule, index);
  run().lastMatch = current_;
  selected_ = run().rules[index].selected.add({current_, {}});
  note(index, VerdictKind::kSelects, std::nullopt, [] { return "selects the line"; });
  judgeTaken(index);
}

// The parameters of a rule are tried next. Their keys are copied: when an invalid expression ends the run, the rule is
// gone before anybody asks what was tried.
void RunReporter::tryParams(const FeatureRule& rule, size_t index) {
  at_ = At::kParams;
  triedRule_ = index;
  paramsToTry_.clear();
  for (const auto& param : rule.params) paramsToTry_.insert(param.first);
}

// Why a rule does not select the current line. `rule` is its current form, or a copy with variables filled.
void RunReporter::judgeMiss(Live& live, size_t index, RuleOutcome outcome, const FeatureRule& rule) {
  if (outcome == RuleOutcome::kDependencyNotMet) {
    const bool wouldDo = keyWordsWouldDo(live, rule);
    note(index, VerdictKind::kDependencyNotMet, Nearness{wouldDo ? Stage::kKeyWordsOnly : Stage::kDependencyNotMet},
         [&] {
           const std::string words = "dependency " + Quoted(rule.depend) + " is not met yet";
           return wouldDo ? words + ", although the line holds the keywords" : words;
         });
  } else if (outcome == RuleOutcome::kVariableOpen) {
    note(index, VerdictKind::kVariableOpen, Nearness{Stage::kVariableOpen},
         [&] { return "variable unresolved: " + OpenVariables(rule); });
  } else {
    KeyWordDistance& distance = distanceOf(live, rule);
    const auto floor = live.nearest.stage == Stage::kKeyWords ? live.nearest.score : KeyWordDistance::Score{};
    const auto score = live.nearest.stage > Stage::kKeyWords ? std::nullopt : distance.scoreOf(text_, floor);
    note(index, VerdictKind::kKeyWordsNotFound,
         score ? std::optional<Nearness>({Stage::kKeyWords, *score}) : std::nullopt,
         [&] { return distance.why(text_); });
  }
}

// The rules behind the one that selects the line are not tried: this finds out what they would have said.
void RunReporter::judgeTaken(size_t taker) {
  for (size_t i = taker + 1; i < live_.size(); ++i) {
    Live& live = live_[i];
    if (live.rule == nullptr) continue;
    FeatureRule rule = *live.rule;
    RuleOutcome outcome = RuleOutcome::kKeyWordsNotFound;
    if (analysis_->checkDepend(rule)) {
      outcome = RuleOutcome::kDependencyNotMet;
    } else if (!analysis_->checkVariableParam(rule)) {
      outcome = RuleOutcome::kVariableOpen;
    } else if (keyWordsWouldDo(live, rule)) {
      ++run().rules[i].verdicts[static_cast<size_t>(VerdictKind::kTaken)];
      note(i, VerdictKind::kTaken, Nearness{Stage::kTaken},
           [&] { return "the line is taken by an earlier rule, " + nameOf(taker); });
      continue;
    }
    if (isAsked(current_.number)) judgeMiss(live, i, outcome, rule);
  }
}

// Notes what became of a rule on the current line. Without `nearness` the line is not near, or not of interest.
template <typename Words>
void RunReporter::note(size_t index, VerdictKind kind, std::optional<Nearness> nearness, Words why) {
  RuleStory& story = run().rules[index];
  if (isAsked(current_.number)) run().asked.back().verdicts[index].verdict = {kind, why()};
  Live& live = live_[index];
  if (!nearness || *nearness < live.nearest) return;
  if (live.nearest < *nearness) {
    live.nearest = *nearness;
    story.nearest = {};
  }
  // Lines that hold nothing of the keywords are all alike: one stands for them.
  const bool isNear = Nearness{Stage::kKeyWords} < *nearness;
  if (story.nearest.isFull() || (!isNear && story.nearest.count > 0)) {
    ++story.nearest.count;
  } else {
    story.nearest.add({current_, {kind, why()}});
  }
}

// Whether the current line holds the keywords of a rule that is not tried on it.
bool RunReporter::keyWordsWouldDo(Live& live, const FeatureRule& rule) {
  return !hasVariable(rule) && distanceOf(live, rule).isSafe() && analysis_->isKeyWordsMatch(text_, rule);
}

KeyWordDistance& RunReporter::distanceOf(Live& live, const FeatureRule& rule) const {
  if (live.distance.keyWords() != rule.keyWords) live.distance = KeyWordDistance(rule.keyWords);
  return live.distance;
}

bool RunReporter::hasVariable(const FeatureRule& rule) const {
  return analysis_->checkVariable(rule, kOpenMark, kCloseMark);
}

// --- What is taken ---

void RunReporter::onParam(const FeatureRule& rule, const std::string& key, const std::string* value, size_t offset) {
  paramsToTry_.erase(key);
  const std::string& pattern = rule.params.at(key);
  const bool isStack = IsStackPattern(pattern);
  if (value == nullptr) ++run().rules[selecting_].failedParams;
  const bool isAskedHere = isAsked(current_.number);
  if (selected_ != nullptr || isAskedHere) {
    ParamStory paramStory{key, current_, std::nullopt, offset, isStack};
    if (value != nullptr) paramStory.value = *value;
    if (value == nullptr && (isAskedHere || run().rules[selecting_].failedParams <= kMaxReasons)) {
      paramStory.pattern = pattern;
      paramStory.why = whyNotFound(pattern);
    }
    if (isAskedHere) run().asked.back().params.push_back(paramStory);
    if (selected_ != nullptr) selected_->params.add(std::move(paramStory));
  }
  if (value == nullptr) return;
  const std::string record = RecordName(rule.name, key);
  makers_.try_emplace(record, selecting_);
  if (isStack) {
    stackPatterns_.try_emplace({run().featureId, record}, StackExpression(AppliedPattern(pattern)));
  }
}

// How far the expression of a parameter gets on the current line.
std::string RunReporter::whyNotFound(const std::string& pattern) const {
  KeyWordDistance distance(std::string(kRegexMark) + std::string(AppliedPattern(pattern)));
  return distance.isSafe() ? distance.why(text_) : "";
}

void RunReporter::onSpent(const FeatureRule& rule) {
  const size_t index = indexOf(rule);
  run().rules[index].spentAt = current_;
  live_[index].rule = nullptr;
  indexes_.erase(&rule);
}

void RunReporter::onScanEnd(ScanEnd reason) {
  run().end = reason;
  at_ = At::kTemplates;
  addRecords();
  if (!story_.askedLine || !run().asked.empty()) return;
  LineStory& asked = run().asked.emplace_back();
  asked.line = lineOf(*story_.askedLine);
  asked.isThere = asked.line.number > 0;
  for (const RuleStory& rule : run().rules) {
    asked.verdicts.push_back({asked.line, {VerdictKind::kNotReached, WhyScanEnded(run())}});
    if (rule.spentAt.number > 0) {
      asked.verdicts.back().verdict = {VerdictKind::kSpent, "spent at " + LineName(rule.spentAt)};
    }
  }
}

// The records by name, of each name the one that counts.
void RunReporter::addRecords() {
  std::map<std::string, size_t> known;
  for (const auto& [name, info] : analysis_->getRecords()) {
    const auto [at, isNew] = known.try_emplace(name, run().records.size());
    if (isNew) {
      const bool isStack = !stackPatternOf(run().featureId, name).empty();
      run().records.push_back({name, makers_[name], lineAt(info.position), info.line, 0, isStack});
    }
    ++run().records[at->second].count;
  }
  std::sort(run().records.begin(), run().records.end(),
            [](const RecordStory& a, const RecordStory& b) { return a.name < b.name; });
}

// The line of a record.
LogLine RunReporter::lineAt(int32_t position) const {
  const RunStory& run = story_.runs.back();
  if (position < 0) return run.lastLine;  // one without a line feed
  const std::string& log = story_.logs[run.log].text;
  const size_t begin = std::min(static_cast<size_t>(position), log.size());
  const size_t end = std::min(log.find('\n', begin), log.size());
  return {static_cast<size_t>(std::count(log.begin(), log.begin() + static_cast<ptrdiff_t>(begin), '\n')) + 1, begin,
          end - begin};
}

// The line of that number; number 0 when the log has none.
LogLine RunReporter::lineOf(size_t number) const {
  const std::string& log = story_.logs[story_.runs.back().log].text;
  size_t begin = 0;
  for (size_t at = 1; begin < log.size(); ++at) {
    const size_t end = std::min(log.find('\n', begin), log.size());
    if (at == number) return {number, begin, end - begin};
    begin = end + 1;
  }
  return {};
}

// --- What becomes of it ---

void RunReporter::onContribution(const std::string& name, const Record* record, const std::string& value) {
  contributions_.push_back({name, record != nullptr, value});
  for (RecordStory& recordStory : run().records) {
    if (recordStory.name != name || !recordStory.isStack) continue;
    recordStory.stack = value;
    recordStory.why =
        WhyTraceEnds(story_.logs[run().log].text, recordStory.line, stackPatternOf(run().featureId, name));
    if (value.empty()) contributions_.back().why = recordStory.why;
  }
}

void RunReporter::onTemplate(const std::string& key, const std::string& templateText, const std::string& value) {
  const std::string& id = run().featureId;
  TemplateStory story{
      key, templateText, places_.ofTemplate(story_.eventType, id, key), std::move(contributions_), value, ""};
  contributions_.clear();
  if (!value.empty()) {
    const auto [giver, isNew] = givenBy_.try_emplace(key, id);
    if (!isNew) story.lostTo = giver->second;
  }
  run().templates.push_back(std::move(story));
}

void RunReporter::onMerged(const std::map<std::string, std::string>& result) { merged_ = result; }

std::string RunReporter::stackPatternOf(const std::string& featureId, const std::string& record) const {
  const auto pattern = stackPatterns_.find({featureId, record});
  return pattern == stackPatterns_.end() ? "" : pattern->second;
}

// --- What is being tried ---

std::string RunReporter::whatIsTried() const {
  if (story_.runs.empty()) return places_.model().matchFile.path;
  return at_ == At::kTemplates ? whatIsAssembled() : whatIsScanned();
}

std::string RunReporter::whatIsScanned() const {
  size_t index = triedRule_;
  while (index < live_.size() && live_[index].rule == nullptr) ++index;
  if (index == live_.size()) return story_.logName;
  std::string what = "its keywords";
  if (at_ == At::kParams && !paramsToTry_.empty()) what = "its parameter " + *paramsToTry_.begin();
  return TextOf(story_.runs.back().rules[index].place) + ": rule " + Quoted(story_.runs.back().rules[index].name) +
         ", " + what + ", on " + LineName(current_) + " of the log";
}

// The templates are filled in the order of their keys, each record in turn.
std::string RunReporter::whatIsAssembled() const {
  const RunStory& run = story_.runs.back();
  const std::string lastKey = run.templates.empty() ? "" : run.templates.back().key;
  std::map<std::string, std::string> left;
  if (const PlacedTemplates* templates = places_.model().templatesOf({run.featureId, story_.eventType, {}})) {
    for (const PlacedTemplate& candidate : templates->templates) {
      if (run.templates.empty() || candidate.key > lastKey) left[candidate.key] = candidate.text.text();
    }
  }
  if (left.empty()) return places_.model().assembleFile.path;
  const auto& [key, text] = *left.begin();
  const std::vector<std::string> names = Analysis(0, "", nullptr, {}).splitAssembleParam(text);
  const std::string record = contributions_.size() < names.size() ? names[contributions_.size()] : "";
  const auto maker = makers_.find(record);
  const FilePlace place = maker == makers_.end() ? places_.ofTemplate(story_.eventType, run.featureId, key)
                                                 : run.rules[maker->second].place;
  return TextOf(place) + ": the stack of " + Quoted(record) + ", for the result " + Quoted(key);
}

std::string RunReporter::nameOf(size_t rule) const {
  const RuleStory& story = story_.runs.back().rules[rule];
  return Quoted(story.name) + (story.place.line == 0 ? "" : " of line " + std::to_string(story.place.line));
}

size_t RunReporter::indexOf(const FeatureRule& rule) const { return indexes_.at(&rule); }
