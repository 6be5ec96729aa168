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
// gets the replies in the order of the runs.
void RunInWorkers(const WorkerOptions& options, const std::function<WorkerPool::Next(LogRun& run)>& source,
                  const std::function<Fields(const LogRun& run)>& analyze,
                  const std::function<void(const LogRun& run, const Reply& reply)>& sink);

// Analyses each log under each of the directories of rules. `sink` gets the replies for a log, one for each
// directory. Shows on a terminal how far it is.
void Replay(const ReplayOptions& options, const std::vector<std::string>& configs,
            const std::function<Fields(const LogRun& run)>& analyze,
            const std::function<void(const LogEntry& log, const std::vector<Reply>& replies)>& sink);

#endif  // CLI_FLEET_REPLAY_H
