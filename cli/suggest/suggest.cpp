#include "cli/suggest/suggest.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <system_error>
#include <tuple>

#include "cli/explain/make_story.h"
#include "cli/fleet/replay.h"
#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/utf8.h"
#include "cli/rule_files/rule_model.h"
#include "rules/rule_syntax.h"

namespace {

constexpr char kIdPrefix[] = "KX_";

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream stream(path, std::ios::binary);
  stream << text;
  if (!stream.flush()) throw InputError(path, std::generic_category().message(errno));
}

// --- Fields: "rule" or "stack" with a line's number, "result" with key and value ---

const std::string kRuleLine = "rule";
const std::string kStackLine = "stack";
const std::string kResult = "result";

Fields ReportTaking(const LogRun& run) {
  const LogFile file(run.log.path);
  const Story story =
      MakeStory({.logName = run.log.path, .configDir = run.config, .eventType = run.log.event, .logFile = file.path()});
  std::set<size_t> ruleLines;
  for (const RunStory& runStory : story.runs) {
    for (const RuleStory& rule : runStory.rules) {
      for (const SelectedLine& selected : rule.selected.kept) ruleLines.insert(selected.line.number);
    }
  }
  Fields fields;
  for (const size_t number : ruleLines) fields.insert(fields.end(), {kRuleLine, std::to_string(number)});
  if (story.stack) {
    for (const FrameStory& frame : story.stack->frames) {
      if (frame.line.number > 0) fields.insert(fields.end(), {kStackLine, std::to_string(frame.line.number)});
    }
  }
  for (const auto& [key, value] : story.result) {
    fields.insert(fields.end(), {kResult, ValidUtf8(key) + "=" + ValidUtf8(value)});
  }
  return fields;
}

Taking TakingOf(const std::string& log, const Reply& reply) {
  Taking taking;
  taking.log = log;
  taking.fault = reply.fault;
  for (size_t i = 0; i + 1 < reply.fields.size(); i += 2) {
    const std::string& value = reply.fields[i + 1];
    if (reply.fields[i] == kResult) {
      taking.result[value.substr(0, value.find('='))] = value.substr(value.find('=') + 1);
    } else {
      (reply.fields[i] == kRuleLine ? taking.ruleLines : taking.stackLines).push_back(std::stoul(value));
    }
  }
  return taking;
}

// --- Names ---

void SetNames(const std::string& configDir, std::vector<Draft>& drafts) {
  std::set<std::string> used;
  if (!configDir.empty()) {
    const JsonFile matchFile(MatchRuleFile(configDir));
    const JsonFile assembleFile(AssembleRuleFile(configDir));
    const RuleModel model(matchFile, assembleFile);
    for (const PlacedEntry& entry : model.entries) {
      used.insert(entry.key);
      for (const PlacedId& id : entry.ids) used.insert(id.id);
    }
  }
  for (Draft& draft : drafts) {
    for (int i = 1;; ++i) {
      const std::string name = draft.eventType + "_" + std::to_string(i);
      draft.featureId = kIdPrefix + name;
      draft.entryKey = std::string(kEntryMark) + "_" + name;
      if (used.count(draft.featureId) == 0 && used.count(draft.entryKey) == 0) break;
    }
  }
}

// --- The choice ---

void Judge(const Selection& selection, LineRange range, Suggestion& suggestion) {
  std::set<size_t> taken(suggestion.taking.ruleLines.begin(), suggestion.taking.ruleLines.end());
  taken.insert(suggestion.taking.stackLines.begin(), suggestion.taking.stackLines.end());
  for (const size_t number : taken) {
    if (number < range.first || number > range.last) suggestion.strange.push_back(number);
  }
  for (const std::vector<size_t>* wanted : {&selection.heads, &selection.frames, &selection.others}) {
    for (const size_t number : *wanted) {
      if (taken.count(number) == 0) suggestion.missed.push_back(number);
    }
  }
  std::sort(suggestion.missed.begin(), suggestion.missed.end());
  suggestion.missed.erase(std::unique(suggestion.missed.begin(), suggestion.missed.end()), suggestion.missed.end());
}

// Fewer of everything is better: first the lines that it should take and does not, last what it is made of.
auto RankOf(const Suggestion& suggestion) {
  size_t elsewhere = 0;
  for (const Taking& taking : suggestion.against) elsewhere += taking.lineCount();
  return std::make_tuple(suggestion.missed.size() + suggestion.strange.size(), elsewhere,
                         suggestion.draft.rules.size());
}

}  // namespace

std::string TextOfLog(const std::string& path) {
  const LogFile file(path);
  std::ifstream stream(file.path(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

DraftFolder::DraftFolder(const std::vector<Draft>& drafts) {
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrix-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw InputError(pattern, std::generic_category().message(errno));
  path_ = pattern;
  WriteFile(MatchRuleFile(path_), MatchText(drafts));
  WriteFile(AssembleRuleFile(path_), AssembleText(drafts));
}

DraftFolder::~DraftFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<Taking> TryAll(const std::vector<Trial>& trials) {
  PrepareLibrary(false);
  std::vector<Taking> takings;
  size_t next = 0;
  RunInWorkers(
      {},
      [&](LogRun& run) {
        if (next == trials.size()) return WorkerPool::Next::kEnd;
        const Trial& trial = trials[next++];
        run = {{trial.log, trial.eventType, ""}, trial.folder};
        return WorkerPool::Next::kRequest;
      },
      ReportTaking, [&](const LogRun& run, const Reply& reply) { takings.push_back(TakingOf(run.log.path, reply)); });
  return takings;
}

std::vector<Suggestion> Suggest(const SuggestRequest& request) {
  const std::string text = TextOfLog(request.log);
  const std::vector<std::string_view> lines = LogLines(text);
  const LineRange range = request.range;
  if (range.first < 1 || range.last < range.first || range.last > lines.size()) {
    throw InputError(request.log, "has " + std::to_string(lines.size()) + " lines, and not those that --lines names");
  }
  const Selection selection = SelectionOf(lines, range);
  std::vector<Draft> drafts = DraftsFor(lines, selection, request.eventType);
  SetNames(request.configDir, drafts);

  std::vector<Suggestion> suggestions;
  std::vector<std::unique_ptr<DraftFolder>> folders;
  std::vector<Trial> trials;
  for (Draft& draft : drafts) {
    if (!MakeClean(draft)) continue;
    const bool isKnown = std::any_of(suggestions.begin(), suggestions.end(), [&draft](const Suggestion& other) {
      return MatchText({other.draft}) == MatchText({draft});
    });
    if (isKnown) continue;
    folders.push_back(std::make_unique<DraftFolder>(std::vector<Draft>{draft}));
    trials.push_back({request.log, folders.back()->path(), request.eventType});
    for (const std::string& log : request.against) trials.push_back({log, folders.back()->path(), request.eventType});
    suggestions.push_back({std::move(draft), {}, {}, {}, {}});
  }
  std::vector<Taking> takings = TryAll(trials);
  const size_t logs = request.against.size() + 1;
  for (size_t i = 0; i < suggestions.size(); ++i) {
    const auto first = takings.begin() + static_cast<std::ptrdiff_t>(i * logs);
    suggestions[i].taking = *first;
    suggestions[i].against.assign(first + 1, first + static_cast<std::ptrdiff_t>(logs));
    Judge(selection, range, suggestions[i]);
  }
  std::erase_if(suggestions, [](const Suggestion& suggestion) { return suggestion.taking.result.empty(); });
  std::stable_sort(suggestions.begin(), suggestions.end(),
                   [](const Suggestion& a, const Suggestion& b) { return RankOf(a) < RankOf(b); });
  return suggestions;
}
