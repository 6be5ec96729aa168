#include "cli/lsp/log_survey.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "cli/explain/make_story.h"
#include "cli/fleet/replay.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/lsp/transport.h"
#include "cli/output/json_text.h"
#include "cli/output/output_file.h"
#include "cli/output/utf8.h"
#include "rules/rule_syntax.h"

namespace {

// A worker reports of each log the rules that fired, and the records of the pinned log.
const std::string kFired = "fired";    // feature id, rule
const std::string kRecord = "record";  // feature id, name and "=" and value

Fields ReportLog(const LogRun& run, bool withRecords) {
  const LogFile file(run.log.path);
  const Story story =
      MakeStory({.logName = run.log.path, .configDir = run.config, .eventType = run.log.event, .logFile = file.path()});
  Fields fields;
  for (const RunStory& runStory : story.runs) {
    for (const RuleStory& rule : runStory.rules) {
      if (rule.selected.count > 0) fields.insert(fields.end(), {kFired, runStory.featureId, ValidUtf8(rule.name)});
    }
    if (!withRecords) continue;
    for (const RecordStory& record : runStory.records) {
      fields.insert(fields.end(), {kRecord, runStory.featureId, ValidUtf8(record.name + "=" + record.value)});
    }
  }
  return fields;
}

// In the survey's own process: a line of JSON for each log.
void Run(int pipe, const std::string& folder, const std::set<std::string>& eventTypes, const SurveyLogs& logs) {
  PrepareLibrary(false);
  std::vector<LogRun> runs;
  for (const std::string& path : logs.paths) {
    for (const std::string& type : eventTypes) runs.push_back({{path, type, ""}, folder});
  }
  size_t next = 0;
  RunInWorkers(
      {},
      [&](LogRun& run) {
        if (next == runs.size()) return WorkerPool::Next::kEnd;
        run = runs[next++];
        return WorkerPool::Next::kRequest;
      },
      [&logs](const LogRun& run) { return ReportLog(run, run.log.path == logs.pinned); },
      [&](const LogRun& run, const Reply& reply) {
        Json::Value line;
        line["log"] = ValidUtf8(run.log.path);
        line["fields"] = JsonTexts(reply.fields);
        line["isLast"] = run.log.event == *eventTypes.rbegin();
        if (!WriteAll(pipe, JsonLine(line) + "\n")) _exit(1);
      });
  if (!WriteAll(pipe, "{\"done\":true}\n")) _exit(1);
}

void WriteFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

[[noreturn]] void Survive(int pipe, const std::string& matchText, const std::string& assembleText,
                          const std::set<std::string>& eventTypes, const SurveyLogs& logs) {
  // The library reads rules from files only. The folder goes with the process that made it, or with its parent.
  sigset_t terminate;
  sigemptyset(&terminate);
  sigaddset(&terminate, SIGTERM);
  sigprocmask(SIG_BLOCK, &terminate, nullptr);  // until there is someone to tidy up
  std::string folder = (std::filesystem::temp_directory_path() / "kestrix-XXXXXX").string();
  if (mkdtemp(folder.data()) == nullptr) _exit(1);
  const pid_t runner = fork();
  if (runner == 0) {
    sigprocmask(SIG_UNBLOCK, &terminate, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
      WriteFile(MatchRuleFile(folder), matchText);
      WriteFile(AssembleRuleFile(folder), assembleText);
      Run(pipe, folder, eventTypes, logs);
    } catch (const std::exception&) {
      _exit(1);
    }
    _exit(0);
  }
  // A signal to stop ends the runner, and then this process tidies up.
  static volatile sig_atomic_t child;
  child = static_cast<sig_atomic_t>(runner);
  std::signal(SIGTERM, [](int) { kill(child, SIGKILL); });
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  sigprocmask(SIG_UNBLOCK, &terminate, nullptr);
  while (waitpid(runner, nullptr, 0) < 0 && errno == EINTR) {
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  _exit(0);
}

}  // namespace

void LogSurvey::start(const std::string& matchText, const std::string& assembleText,
                      const std::set<std::string>& eventTypes, const SurveyLogs& logs) {
  stop();
  coming_ = {};
  coming_.total = logs.paths.size();
  if (logs.paths.empty() || eventTypes.empty()) return;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  pid_ = fork();
  if (pid_ == 0) {
    close(ends[0]);
    const int none = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(none, stream);
    Survive(ends[1], matchText, assembleText, eventTypes, logs);
  }
  close(ends[1]);
  pipe_ = ends[0];
  if (pid_ == -1) {
    close(pipe_);
    pipe_ = -1;
  }
}

void LogSurvey::stop() {
  if (pid_ == -1) return;
  kill(pid_, SIGTERM);
  while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
  }
  close(pipe_);
  pid_ = -1;
  pipe_ = -1;
  received_.clear();
}

bool LogSurvey::receive() {
  char buffer[64 * 1024];
  const ssize_t size = read(pipe_, buffer, sizeof buffer);
  if (size < 0 && errno == EINTR) return true;
  if (size <= 0) {
    stop();
    return false;
  }
  received_.append(buffer, static_cast<size_t>(size));
  size_t begin = 0;
  for (size_t end = received_.find('\n'); end != std::string::npos; end = received_.find('\n', begin)) {
    take(received_.substr(begin, end - begin));
    begin = end + 1;
  }
  received_.erase(0, begin);
  if (!coming_.isDone) return true;
  shown_ = coming_;
  stop();
  return false;
}

void LogSurvey::take(const std::string& line) {
  Json::Value message;
  if (!ReadJson(line, message) || !message.isObject()) return;
  coming_.isDone = message.isMember("done");
  if (coming_.isDone) return;
  const Json::Value& fields = message["fields"];
  for (Json::ArrayIndex i = 0; i + 2 < fields.size(); i += 3) {
    const std::string id = fields[i + 1].asString();
    const std::string text = fields[i + 2].asString();
    if (fields[i].asString() == kFired) {
      coming_.firedIn[{id, text}].insert(message["log"].asString());
    } else {
      coming_.values[{id, text.substr(0, text.find('='))}] = text.substr(text.find('=') + 1);
    }
  }
  if (message["isLast"].asBool()) ++coming_.logs;
}
