#include "cli/fleet/replay.h"

#include <algorithm>
#include <optional>
#include <thread>

#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/output/progress.h"

namespace {

Fields RequestOf(const LogRun& run) { return {run.log.path, run.log.event, run.log.error, run.config}; }

LogRun RunOf(const Fields& request) { return {{request[0], request[1], request[2]}, request[3]}; }

// The reason alone: the log is named beside it.
std::string ReasonOf(const InputError& error, const LogEntry& log) {
  const std::string text = error.what();
  const std::string head = log.path + ": ";
  return text.starts_with(head) ? text.substr(head.size()) : text;
}

// In front of a worker's fields: what kept it from reading the log, or nothing.
Fields Answer(const Fields& request, const std::function<Fields(const LogRun& run)>& analyze) {
  const LogRun run = RunOf(request);
  try {
    Fields fields = analyze(run);
    fields.insert(fields.begin(), "");
    return fields;
  } catch (const InputError& error) {
    return {ReasonOf(error, run.log)};
  }
}

Reply Unpacked(Reply reply) {
  if (!reply.fault.empty()) return reply;
  reply.fault = reply.fields.front();
  reply.fields.erase(reply.fields.begin());
  return reply;
}

// The number of logs; none while a list of unknown length is among them.
std::optional<size_t> CountOf(const ReplayOptions& options) {
  if (std::find(options.paths.begin(), options.paths.end(), "-") != options.paths.end()) return std::nullopt;
  LogList logs(options.paths, options.event);
  LogEntry log;
  size_t count = 0;
  while (logs.next(log) == LogList::Next::kEntry) ++count;
  return count;
}

}  // namespace

void AddWorkerOptions(CLI::App& command, WorkerOptions& options) {
  command.add_option("-j,--jobs", options.jobs, "Worker processes; by default as many as there are cores")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  command
      .add_option("--timeout", options.secondsPerLog,
                  "Seconds after which a log is given up, by default 60; 0 for no limit")
      ->type_name("SECONDS")
      ->check(CLI::Range(0, 1000000).description(""));
}

void AddReplayOptions(CLI::App& command, ReplayOptions& options) {
  command
      .add_option("PATH", options.paths,
                  "Logs; folders, walked in the order of the names; or - for a list on standard input: a path on each "
                  "line, or an object {\"log\": \"a.txt\", \"event\": \"crash\"}")
      ->type_name("")
      ->required();
  command.add_option("--event", options.event, "Event type whose rules apply, where a list names none")
      ->type_name("TYPE");
  AddWorkerOptions(command, options.workers);
  command.add_flag("--check-path", options.checkPath,
                   "Apply the rules' path tests as on the device; by default every path passes");
}

Fields AnalyzeToFields(const LogRun& run) {
  Fields fields;
  for (const auto& [key, value] : Analyze(run, nullptr)) {
    fields.push_back(key);
    fields.push_back(value);
  }
  return fields;
}

LogResult ResultOf(const Reply& reply) {
  LogResult result{{}, reply.fault};
  for (size_t i = 0; i + 1 < reply.fields.size(); i += 2) result.results[reply.fields[i]] = reply.fields[i + 1];
  return result;
}

void RunInWorkers(const WorkerOptions& options, const std::function<WorkerPool::Next(LogRun& run)>& source,
                  const std::function<Fields(const LogRun& run)>& analyze,
                  const std::function<void(const LogRun& run, const Reply& reply)>& sink) {
  const size_t count = options.jobs > 0 ? options.jobs : std::max(std::thread::hardware_concurrency(), 1U);
  WorkerPool pool(count, std::chrono::seconds(options.secondsPerLog),
                  [&analyze](const Fields& request) { return Answer(request, analyze); });
  LogRun run;
  pool.run(
      [&](Fields& request) {
        const WorkerPool::Next next = source(run);
        if (next == WorkerPool::Next::kRequest) request = RequestOf(run);
        return next;
      },
      [&](const Fields& request, const Reply& reply) { sink(RunOf(request), Unpacked(reply)); });
}

void Replay(const ReplayOptions& options, const std::vector<std::string>& configs,
            const std::function<Fields(const LogRun& run)>& analyze,
            const std::function<void(const LogEntry& log, const std::vector<Reply>& replies)>& sink) {
  if (options.event.empty() && std::find(options.paths.begin(), options.paths.end(), "-") == options.paths.end()) {
    throw CLI::RequiredError("--event");
  }
  for (const std::string& config : configs) CheckRuleFiles(config);
  PrepareLibrary(options.checkPath);

  Progress progress([&options] { return CountOf(options); });
  LogList logs(options.paths, options.event);
  LogEntry log;
  size_t nextConfig = configs.size();
  const auto source = [&](LogRun& run) {
    if (nextConfig == configs.size()) {
      const LogList::Next next = logs.next(log);
      if (next == LogList::Next::kWait) return WorkerPool::Next::kWait;
      if (next == LogList::Next::kEnd) return WorkerPool::Next::kEnd;
      nextConfig = 0;
    }
    run = {log, configs[nextConfig++]};
    return WorkerPool::Next::kRequest;
  };
  std::vector<Reply> replies;
  RunInWorkers(options.workers, source, analyze, [&](const LogRun& run, const Reply& reply) {
    replies.push_back(reply);
    if (replies.size() < configs.size()) return;
    progress.hide();
    sink(run.log, replies);
    progress.step();
    replies.clear();
  });
}
