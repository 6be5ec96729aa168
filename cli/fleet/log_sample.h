#ifndef CLI_FLEET_LOG_SAMPLE_H
#define CLI_FLEET_LOG_SAMPLE_H

#include <cstddef>
#include <string>
#include <vector>

#include "cli/fleet/log_list.h"

// A few of any number of logs, evenly spread over them.
class LogSample {
 public:
  explicit LogSample(size_t most) : most_(most) {}

  void add(const LogEntry& log);

  // As many of the sample as their files take no more than `bytes`, evenly spread, and at least one.
  std::vector<LogEntry> within(size_t bytes) const;

 private:
  size_t most_;
  std::vector<LogEntry> logs_;  // every `stride_`-th of all
  size_t stride_ = 1;
  size_t count_ = 0;  // of all
};

#endif  // CLI_FLEET_LOG_SAMPLE_H
