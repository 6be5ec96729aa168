#include "cli/suggest/starter.h"

#include <algorithm>

#include "cli/check/checks.h"
#include "cli/log_lines/line_look.h"
#include "cli/suggest/suggest.h"
#include "rules/rule_syntax.h"

namespace {

constexpr size_t kMaxTroubles = 3;  // of one log that are tried
constexpr int kMaxDrafts = 9;       // of one event type: their ids sort by one digit

const char* EventTypeFor(LineLook head) {
  switch (head) {
    case LineLook::kJavaHead:
      return "java_crash";
    case LineLook::kNativeHead:
      return "native_crash";
    case LineLook::kKernelHead:
      return "kernel_crash";
    default:
      return "hang";
  }
}

std::vector<Draft> DraftsOf(const std::vector<Draft>& drafts, const std::string& eventType) {
  std::vector<Draft> ours;
  std::copy_if(drafts.begin(), drafts.end(), std::back_inserter(ours),
               [&eventType](const Draft& draft) { return draft.eventType == eventType; });
  return ours;
}

bool AreClean(const std::vector<Draft>& drafts) {
  const JsonFile matchFile(kMatchFileName, MatchText(drafts));
  const JsonFile assembleFile(kAssembleFileName, AssembleText(drafts));
  return CheckRules(RuleModel(matchFile, assembleFile)).empty();
}

class StarterMaker {
 public:
  void add(const std::string& path) {
    StarterLog log{path, "", false};
    const std::string text = TextOfLog(path);
    const std::vector<std::string_view> lines = LogLines(text);
    std::vector<LineRange> troubles = TroublesIn(lines);
    // A head with a stack says more than one without.
    std::stable_partition(troubles.begin(), troubles.end(), [](LineRange range) { return range.last > range.first; });
    if (troubles.size() > kMaxTroubles) troubles.resize(kMaxTroubles);
    for (const LineRange range : troubles) {
      if (log.hasResult) break;
      log.eventType = EventTypeFor(LookOf(lines[range.first - 1]));
      log.hasResult = isServed(path, log.eventType, range.last > range.first) || serve(path, range, log.eventType);
    }
    made_.logs.push_back(std::move(log));
  }

  Starter made() { return std::move(made_); }

 private:
  bool isServed(const std::string& path, const std::string& eventType, bool hasStack) const {
    const std::vector<Draft> drafts = DraftsOf(made_.drafts, eventType);
    if (drafts.empty()) return false;
    const DraftFolder folder(drafts);
    const Taking taking = TryAll({{path, folder.path(), eventType}}).front();
    return hasStack ? !taking.stackLines.empty() : !taking.result.empty();
  }

  bool serve(const std::string& path, LineRange range, const std::string& eventType) {
    const auto number = static_cast<int>(DraftsOf(made_.drafts, eventType).size()) + 1;
    if (number > kMaxDrafts) return false;
    std::vector<Draft> all = made_.drafts;
    for (Suggestion& suggestion : Suggest({path, range, eventType, {}, ""})) {
      const std::string name = eventType + "_" + std::to_string(number);
      suggestion.draft.featureId = "KX_" + name;
      suggestion.draft.entryKey = "featureFrame_" + name;
      all.push_back(std::move(suggestion.draft));
      if (AreClean(all)) {
        made_.drafts = std::move(all);
        return true;
      }
      all.pop_back();
    }
    return false;
  }

  Starter made_;
};

}  // namespace

Starter MakeStarter(const std::vector<std::string>& logs, const std::function<void()>& onLog) {
  StarterMaker maker;
  for (const std::string& log : logs) {
    maker.add(log);
    onLog();
  }
  return maker.made();
}
