#ifndef TOOLS_REPLAY_REPLAY_H
#define TOOLS_REPLAY_REPLAY_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "tools/replay/log_run.h"
#include "tools/replay/worker_pool.h"

// What the commands that go over many logs have in common.
struct ReplayOptions {
  std::vector<std::string> paths;
  std::string event;
  size_t jobs = 0;  // 0: as many as there are cores
  unsigned secondsPerLog = 60;
  bool checkPath = false;
};

void AddReplayOptions(CLI::App& command, ReplayOptions& options);

// The results of Analyze as a worker hands them over, and what they are at the other end.
Fields AnalyzeToFields(const LogRun& run);
LogResult ResultOf(const Reply& reply);

// Analyses each log under each of the directories of rules. `analyze` runs in a worker; what it throws becomes the
// fault of the reply. `sink` gets the replies for a log, one for each directory, in the order of the logs. Shows on a
// terminal how far it is.
void Replay(const ReplayOptions& options, const std::vector<std::string>& configs,
            const std::function<Fields(const LogRun& run)>& analyze,
            const std::function<void(const LogEntry& log, const std::vector<Reply>& replies)>& sink);

#endif  // TOOLS_REPLAY_REPLAY_H
