#ifndef CLI_FLEET_WORKER_POOL_H
#define CLI_FLEET_WORKER_POOL_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "cli/fleet/fields.h"
#include "cli/fleet/spill_file.h"

struct Reply {
  Fields fields;      // what the job returned
  std::string fault;  // why it returned nothing; empty when it did
};

// Does a job many times over in worker processes, because what the job runs may end its process: that costs the one
// reply, and a new worker takes the place. The process that uses a pool has no other thread.
class WorkerPool {
 public:
  // Runs in a worker. A std::exception becomes the reply's fault, and the worker ends, since nobody knows what state
  // the exception left.
  using Job = std::function<Fields(const Fields& request)>;

  // Sets `request` to the next one. kWait: there is none before more of standard input can be read.
  enum class Next { kRequest, kWait, kEnd };
  using Source = std::function<Next(Fields& request)>;

  using Sink = std::function<void(const Fields& request, const Reply& reply)>;

  // Called for each reply as it comes, which may be long before its turn.
  using Note = std::function<void()>;

  // A job that takes longer than `limit` is ended; 0 stands for no limit.
  WorkerPool(size_t workerCount, std::chrono::seconds limit, Job job);
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Hands each request to a worker and each reply to `sink`, in the order of the requests. What waits for its turn
  // behind a slow job is bounded in memory, where the larger part of it goes to a file, and in number. An interrupt
  // ends the process as soon as `sink` has returned.
  void run(
      const Source& source, const Sink& sink, const Note& note = [] {});

 private:
  using Clock = std::chrono::steady_clock;

  // A hundred thousand of these may wait, so it is small.
  struct Task {
    std::string message;  // the request; with the reply when it is done; empty when that is in `spill_`
    SpillFile::Place spilled;
    bool isDone = false;
  };

  struct Worker {
    pid_t pid = -1;  // -1 while there is no process
    int socket = -1;
    Task* task = nullptr;  // what it works on
    Clock::time_point deadline;
    std::string received;
  };

  void dispatch(const Source& source);
  void start(Worker& worker);
  void waitForEvents();
  void receive(Worker& worker);
  void finish(Worker& worker, const Reply& reply);
  void endOverdue();
  std::string end(Worker& worker);
  void handOver(const Sink& sink);
  std::chrono::nanoseconds timeLeft() const;

  std::chrono::seconds limit_;
  Job job_;
  std::vector<Worker> workers_;
  std::deque<Task> tasks_;  // in the order of the requests, done or not
  size_t heldBytes_ = 0;    // of done tasks' messages in memory
  SpillFile spill_;
  size_t spilledTasks_ = 0;
  size_t finished_ = 0;     // tasks that are not noted yet
  bool isWaiting_ = false;  // for standard input
  bool isAtEnd_ = false;
};

#endif  // CLI_FLEET_WORKER_POOL_H
