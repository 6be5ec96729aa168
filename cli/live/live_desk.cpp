#include "cli/live/live_desk.h"

#include <json/json.h>

#include <sstream>

#include "cli/library/own_program.h"
#include "cli/output/json_text.h"
#include "rules/rule_file.h"
#include "rules/rule_syntax.h"

namespace {

constexpr int kBadInputStatus = 2;

// {"version": ..., "name": ...}, the second being JSON text already.
std::string Object(uint64_t version, const char* name, const std::string& json) {
  return R"({"version":)" + std::to_string(version) + ",\"" + name + "\":" + json + "}";
}

bool HasFailed(const ProgramRun& run) { return run.status < 0 || run.status >= kBadInputStatus || run.output.empty(); }

// A command's own JSON, or its fault; one that was ended for a newer version has neither.
std::string AnswerOf(uint64_t version, const char* name, const ProgramRun& run) {
  if (run.isStale) return Object(version, "isStale", "true");
  return HasFailed(run) ? Object(version, "fault", JsonString(FaultOf(run))) : Object(version, name, run.output);
}

// Whether `reply`, what `batch` says of a log under one event type, speaks more for its type than `best` does. The type
// that is known stays where rules that are broken for a moment end its analysis.
bool IsBetter(const Json::Value& reply, const Json::Value& best, const std::string& known) {
  if (best.isNull()) return true;
  if (best["event"] == known && best.isMember("error")) return false;
  if (reply["event"] == known && reply.isMember("error")) return true;
  const Json::ArrayIndex size = reply["results"].size();
  return size > best["results"].size() || (size == best["results"].size() && reply["event"] == known);
}

}  // namespace

LiveDesk::LiveDesk(LiveInput input) : input_(std::move(input)), events_(input_.logs.size(), input_.event) {}

void LiveDesk::noteSave() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++version_;
  changed_.notify_all();
}

void LiveDesk::stop() {
  const std::lock_guard<std::mutex> lock(mutex_);
  isStopped_ = true;
  changed_.notify_all();
}

bool LiveDesk::isStopped() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return isStopped_;
}

uint64_t LiveDesk::version() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return version_;
}

uint64_t LiveDesk::waitForChange(uint64_t known, std::chrono::milliseconds limit) const {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, limit, [&] { return isStopped_ || version_ != known; });
  return version_;
}

std::function<bool()> LiveDesk::staleCheck(uint64_t version) const {
  return [this, version] { return isStopped() || this->version() != version; };
}

// The answer of that name for the present version; an older one is made anew. A page that asks while it is made waits.
std::string LiveDesk::answer(const std::string& name, const std::function<std::string()>& make) {
  Answer* answer = nullptr;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    answer = &answers_[name];
  }
  const std::lock_guard<std::mutex> lock(answer->making);
  const uint64_t now = version();
  if (answer->version == now) return answer->text;
  answer->text = make();
  // What was made while a file was saved is of neither state.
  answer->version = version() == now ? now : 0;
  return answer->text;
}

std::string LiveDesk::story(size_t log) {
  return answer("story " + std::to_string(log), [this, log] {
    const uint64_t made = version();
    return AnswerOf(made, "story",
                    RunOwnProgram({"explain", "--page-data", "--config", input_.configDir, "--event", eventOf(log),
                                   "--", input_.logs[log]},
                                  "", staleCheck(made)));
  });
}

std::string LiveDesk::verdicts(size_t log, size_t line) {
  const uint64_t made = version();
  return AnswerOf(made, "story",
                  RunOwnProgram({"explain", "--format", "json", "--line", std::to_string(line), "--config",
                                 input_.configDir, "--event", eventOf(log), "--", input_.logs[log]},
                                "", staleCheck(made)));
}

std::string LiveDesk::suggestions(size_t log, size_t first, size_t last) {
  const uint64_t made = version();
  const std::string lines = std::to_string(first) + "-" + std::to_string(last);
  return AnswerOf(made, "suggestions",
                  RunOwnProgram({"suggest", "--format", "json", "--lines", lines, "--config", input_.configDir,
                                 "--event", eventOf(log), "--", input_.logs[log]},
                                "", staleCheck(made)));
}

std::string LiveDesk::findings() {
  return answer("findings", [this] {
    const uint64_t made = version();
    return AnswerOf(made, "findings",
                    RunOwnProgram({"check", "--format", "json", "--", input_.configDir}, "", staleCheck(made)));
  });
}

std::string LiveDesk::results() {
  return answer("results", [this] { return makeResults(version()); });
}

// The event types that the assemble file has a section for.
std::vector<std::string> LiveDesk::eventTypes() const {
  Json::Value root;
  try {
    if (ReadRuleFile(AssembleRuleFile(input_.configDir), root) && root.isObject()) return root.getMemberNames();
  } catch (const Json::Exception&) {
    // Nested too deep, which check reports.
  }
  return {};
}

// One run of `batch` over each log under each event type that comes into question.
std::string LiveDesk::makeResults(uint64_t version) {
  std::vector<std::string> types = {input_.event};
  if (input_.event.empty()) types = eventTypes();
  std::string list;
  for (const std::string& log : input_.logs) {
    for (const std::string& type : types) {
      Json::Value entry;
      entry["log"] = log;
      entry["event"] = type;
      list += JsonLine(entry) + "\n";
    }
  }
  const ProgramRun run = RunOwnProgram({"batch", "--config", input_.configDir, "-"}, list, staleCheck(version));
  if (run.isStale) return Object(version, "isStale", "true");
  if (run.output.empty()) return Object(version, "fault", JsonString(FaultOf(run)));
  Json::Value logs(Json::arrayValue);
  std::istringstream lines(run.output);
  std::vector<std::string> known;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    known = events_;
  }
  for (size_t log = 0; log < input_.logs.size(); ++log) {
    Json::Value best;
    std::string text;
    for (size_t i = 0; i < types.size() && std::getline(lines, text); ++i) {
      Json::Value reply;
      if (!ReadJsonObject(text, reply)) continue;
      if (IsBetter(reply, best, known[log])) best = reply;
    }
    logs.append(best);
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  for (Json::ArrayIndex log = 0; log < logs.size(); ++log) {
    if (version_ == version && logs[log]["event"].isString()) events_[log] = logs[log]["event"].asString();
  }
  return Object(version, "logs", JsonLine(logs));
}

std::string LiveDesk::eventOf(size_t log) {
  for (const bool isAsked : {false, true}) {
    if (isAsked) results();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!events_[log].empty()) return events_[log];
  }
  const std::vector<std::string> types = eventTypes();
  return types.empty() ? "none" : types.front();
}
