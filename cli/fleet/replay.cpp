#include "cli/fleet/replay.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <set>
#include <thread>

#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/output/progress.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/event_types.h"

namespace {

Fields RequestOf(const LogRun& run) { return {run.log.path, run.log.event, run.log.error, run.log.as, run.config}; }

LogRun RunOf(const Fields& request) { return {{request[0], request[1], request[2], request[3]}, request[4]}; }

// What a worker's fields begin with.
const std::string kAnalyzed = "analyzed";
const std::string kUnreadable = "unreadable";

// The reason alone where it is the log's own: the log is named beside it.
Fields Answer(const Fields& request, const std::function<Fields(const LogRun& run)>& analyze) {
  const LogRun run = RunOf(request);
  try {
    Fields fields = analyze(run);
    fields.insert(fields.begin(), kAnalyzed);
    return fields;
  } catch (const InputError& error) {
    return {kUnreadable, error.file() == run.log.path ? error.reason() : error.what()};
  }
}

Reply Unpacked(Reply reply) {
  if (!reply.fault.empty()) return reply;
  if (reply.fields.front() == kUnreadable) return {{}, reply.fields.at(1)};
  reply.fields.erase(reply.fields.begin());
  return reply;
}

// The number of logs; none while a list of unknown length is among them.
std::optional<size_t> CountOf(const ReplayOptions& options) {
  if (options.logs.hasList()) return std::nullopt;
  LogList logs(options.logs);
  LogEntry log;
  size_t count = 0;
  while (logs.next(log) == LogList::Next::kEntry) ++count;
  return count;
}

// The event types of all rules. Throws InputError when the one that is asked for is not among them.
std::set<std::string> KnownEventTypes(const std::string& event, const std::vector<std::string>& configs) {
  std::set<std::string> known;
  for (const std::string& config : configs) known.merge(EventTypesOf(config));
  if (!event.empty() && known.count(event) == 0) throw InputError("--event", UnknownEventType(event, known));
  return known;
}

}  // namespace

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
  for (const std::string& config : configs) CheckRuleFiles(config);
  const std::set<std::string> known = KnownEventTypes(options.logs.event, configs);
  PrepareLibrary(options.checkPath);

  Progress progress([&options] { return CountOf(options); });
  LogList logs(options.logs);
  LogEntry log;
  size_t nextConfig = configs.size();
  const auto source = [&](LogRun& run) {
    if (nextConfig == configs.size()) {
      const LogList::Next next = logs.next(log);
      if (next == LogList::Next::kWait) return WorkerPool::Next::kWait;
      if (next == LogList::Next::kEnd) return WorkerPool::Next::kEnd;
      if (log.error.empty() && known.count(log.event) == 0) log.error = UnknownEventType(log.event, known);
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
  if (logs.count() == 0) throw InputError("standard input", "the list names no log");
  if (logs.repeatedCount() == 0) return;
  progress.hide();
  std::cerr << "kestrix: " << Counted(logs.repeatedCount(), "log") << " came up again and "
            << (logs.repeatedCount() == 1 ? "was" : "were")
            << " analysed again: " << LineForPeople(logs.firstRepeated())
            << (logs.repeatedCount() == 1 ? "\n" : ", ...\n");
}
