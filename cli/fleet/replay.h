#ifndef CLI_FLEET_REPLAY_H
#define CLI_FLEET_REPLAY_H

#include <functional>
#include <string>
#include <vector>

#include "cli/fleet/log_run.h"
#include "cli/fleet/worker_pool.h"

struct WorkerOptions {
  size_t jobs = 0;  // 0: as many as there are cores
  unsigned secondsPerLog = 60;
  bool verbose = false;
};

// What the commands that go over many logs have in common.
struct ReplayOptions {
  LogSources logs;
  WorkerOptions workers;
  bool checkPath = false;
};

// Packs a result map into worker fields (key, value, key, value, ...), and unpacks it.
Fields AnalyzeToFields(const LogRun& run);
LogResult ResultOf(const Reply& reply);

// Runs `analyze` in workers for each run that `source` sets. What it throws becomes the fault of the reply, and `sink`
// gets the replies in the order of the runs; `note` is called for each as it comes.
void RunInWorkers(
    const WorkerOptions& options, const std::function<WorkerPool::Next(LogRun& run)>& source,
    const std::function<Fields(const LogRun& run)>& analyze,
    const std::function<void(const LogRun& run, const Reply& reply)>& sink, const WorkerPool::Note& note = [] {});

// What is made of the logs of a replay.
struct ReplayWork {
  // Runs in a worker.
  std::function<Fields(const LogRun& run)> analyze;

  // Whether the rules for the log's event type find anything in it.
  std::function<bool(const Fields& fields)> finds;

  // Gets the replies for a log, one for each directory of rules.
  std::function<void(const LogEntry& log, const std::vector<Reply>& replies)> sink;

  // Whether an earlier run has done the log, which is then left out.
  std::function<bool(const LogEntry& log)> isDone = [](const LogEntry&) { return false; };
};

// Analyses each log under each of the directories of rules, and shows on a terminal how far it is. A log without an
// event type is tried under all that the rules know, and handed over under each for which something is found in it;
// when there is none, once, without an event type. Throws InputError when there is no log, and for an event type of the
// command line that no rule knows.
void Replay(const ReplayOptions& options, const std::vector<std::string>& configs, const ReplayWork& work);

#endif  // CLI_FLEET_REPLAY_H
