#ifndef CLI_LIVE_LIVE_DESK_H
#define CLI_LIVE_LIVE_DESK_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// The logs and rules that a page is about.
struct LiveInput {
  std::vector<std::string> logs;
  std::string configDir;
  std::string event;  // empty: for each log the one that finds most in it
};

// What the rules make of the logs as they are now. Each answer is a JSON object whose "version" says of which state of
// the files it is; it is made once for each, by a process of its own, and given to all who ask. For many threads.
class LiveDesk {
 public:
  explicit LiveDesk(LiveInput input);

  const LiveInput& input() const { return input_; }

  // A file has been saved.
  void noteSave();

  // Ends what is running, and all waiting, for good.
  void stop();
  bool isStopped() const;

  uint64_t version() const;

  // Waits until the version is not `known`, at most for `limit`. Returns the version.
  uint64_t waitForChange(uint64_t known, std::chrono::milliseconds limit) const;

  // "story": the data of the page, or "fault": why there is none.
  std::string story(size_t log);

  // "logs": {"path", "event", "results"}, or "error" in place of the results, for each log.
  std::string results();

  // "findings": of `check`, or "fault".
  std::string findings();

  // "story": as story(), with the verdicts on a line.
  std::string verdicts(size_t log, size_t line);

  // "suggestions": of `suggest` for those lines, or "fault".
  std::string suggestions(size_t log, size_t first, size_t last);

 private:
  // An answer, made when it is first asked for.
  struct Answer {
    std::mutex making;
    uint64_t version = 0;  // 0: none yet
    std::string text;
  };

  std::string answer(const std::string& name, const std::function<std::string()>& make);
  std::string makeResults(uint64_t version);
  std::string eventOf(size_t log);
  std::vector<std::string> eventTypes() const;
  std::function<bool()> staleCheck(uint64_t version) const;

  const LiveInput input_;
  mutable std::mutex mutex_;  // of what follows
  mutable std::condition_variable changed_;
  uint64_t version_ = 1;
  bool isStopped_ = false;
  std::map<std::string, Answer> answers_;
  std::vector<std::string> events_;  // by log; empty: not yet known
};

#endif  // CLI_LIVE_LIVE_DESK_H
