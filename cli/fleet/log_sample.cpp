#include "cli/fleet/log_sample.h"

#include <filesystem>
#include <system_error>

namespace {

void LeaveOutEverySecond(std::vector<LogEntry>& logs) {
  std::vector<LogEntry> left;
  for (size_t i = 0; i < logs.size(); i += 2) left.push_back(logs[i]);
  logs = std::move(left);
}

size_t BytesOf(const std::vector<LogEntry>& logs) {
  size_t bytes = 0;
  for (const LogEntry& log : logs) {
    std::error_code error;
    const auto size = std::filesystem::file_size(log.path, error);
    if (!error) bytes += size;
  }
  return bytes;
}

}  // namespace

void LogSample::add(const LogEntry& log) {
  if (count_++ % stride_ != 0) return;
  logs_.push_back(log);
  if (logs_.size() <= most_) return;
  LeaveOutEverySecond(logs_);
  stride_ *= 2;
}

std::vector<LogEntry> LogSample::within(size_t bytes) const {
  std::vector<LogEntry> logs = logs_;
  while (logs.size() > 1 && BytesOf(logs) > bytes) LeaveOutEverySecond(logs);
  return logs;
}
