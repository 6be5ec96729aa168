#ifndef CLI_FLEET_LOG_RUN_H
#define CLI_FLEET_LOG_RUN_H

#include <map>
#include <string>

#include "analysis/run_observer.h"
#include "cli/fleet/log_list.h"

using TextMap = std::map<std::string, std::string>;

// The value of a key; empty without one.
std::string ValueOf(const TextMap& results, const std::string& key);

// A log under the rules of a directory.
struct LogRun {
  LogEntry log;
  std::string config;
};

// The outcome of one run.
struct LogResult {
  TextMap results;
  std::string fault;  // why there are none; mostly empty
};

// The library's results, made UTF-8; `observer` may be null. Throws InputError for a log that cannot be read, and
// another std::exception, after which the process should not go on, for rules that the library stumbles over. Invalid
// expressions end the process.
TextMap Analyze(const LogRun& run, RunObserver* observer);

#endif  // CLI_FLEET_LOG_RUN_H
