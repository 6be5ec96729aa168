#include "cli/fleet/worker_pool.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace {

Fields Obey(const Fields& request) {
  if (request[0] == "abort") std::abort();
  if (request[0] == "exit") _exit(0);
  if (request[0] == "throw") throw std::runtime_error("thrown");
  if (request[0] == "hang") sleep(60);
  return {request[0], std::string(std::stoul(request[1]), 'x')};
}

TEST(WorkerPool, RepliesInOrderWhateverBecomesOfAWorker) {
  const struct {
    Fields request;
    const char* fault;  // how it begins
  } kTasks[] = {
      {{"abort", "0"}, "the analysis was aborted"},
      {{"first", "0"}, ""},
      {{"throw", "0"}, "thrown"},
      {{"large", "5000000"}, ""},
      {{"exit", "0"}, "the analysis ended its process"},
      {{std::string("zero\0byte", 9), "1"}, ""},
      {{"abort", "0"}, "the analysis was aborted"},
  };
  for (const size_t workers : {1U, 3U}) {
    size_t next = 0;
    size_t count = 0;
    WorkerPool pool(workers, std::chrono::seconds(0), Obey);
    pool.run(
        [&](Fields& request) {
          if (next == std::size(kTasks)) return WorkerPool::Next::kEnd;
          request = kTasks[next++].request;
          return WorkerPool::Next::kRequest;
        },
        [&](const Fields& request, const Reply& reply) {
          const auto& task = kTasks[count++];
          EXPECT_EQ(task.request, request);
          EXPECT_TRUE(reply.fault.starts_with(task.fault)) << reply.fault;
          EXPECT_EQ(*task.fault == '\0', reply.fault.empty()) << reply.fault;
          EXPECT_EQ(reply.fault.empty() ? Obey(request) : Fields(), reply.fields) << request[0];
        });
    EXPECT_EQ(std::size(kTasks), count);
  }
}

// Of the second job nothing is said: a machine under load may be late with it, too.
TEST(WorkerPool, EndsAJobThatTakesTooLong) {
  const char* kJobs[] = {"hang", "quick"};
  size_t next = 0;
  std::vector<std::string> faults;
  WorkerPool pool(1, std::chrono::seconds(1), Obey);
  pool.run(
      [&](Fields& request) {
        if (next == std::size(kJobs)) return WorkerPool::Next::kEnd;
        request = {kJobs[next++], "0"};
        return WorkerPool::Next::kRequest;
      },
      [&](const Fields&, const Reply& reply) { faults.push_back(reply.fault); });
  ASSERT_EQ(std::size(kJobs), faults.size());
  EXPECT_EQ("the analysis took longer than 1 s", faults[0]);
}

// The size of the file in which replies wait, if there is one: it has no name any more.
uintmax_t WaitingInFile() {
  for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(descriptor, error).string();
    if (target.ends_with(" (deleted)") && target.find("/kestrix.") != std::string::npos) return file_size(descriptor);
  }
  return 0;
}

// The first job is not done before the last one was begun, and what waits is more than memory may hold.
TEST(WorkerPool, GoesOnBehindASlowJob) {
  constexpr size_t kJobs = 3000;
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  size_t next = 0;
  size_t count = 0;
  size_t noted = 0;
  WorkerPool pool(2, std::chrono::seconds(60), [&ends](const Fields& request) {
    char byte = 0;
    if (request[0] == "0" && read(ends[0], &byte, 1) != 1) _exit(1);
    return Fields{request[0], std::string(10000, 'x')};
  });
  pool.run(
      [&](Fields& request) {
        if (next == kJobs) return WorkerPool::Next::kEnd;
        request = {std::to_string(next++)};
        if (next == kJobs && write(ends[1], "g", 1) != 1) return WorkerPool::Next::kEnd;
        return WorkerPool::Next::kRequest;
      },
      [&](const Fields& request, const Reply& reply) {
        EXPECT_TRUE(count > 0 || WaitingInFile() > kJobs * 10000 - 10 * 1024 * 1024) << "memory holds less than 10 MiB";
        const std::string number = std::to_string(count++);
        ASSERT_EQ(Fields{number}, request) << reply.fault;
        ASSERT_EQ((Fields{number, std::string(10000, 'x')}), reply.fields) << reply.fault;
        EXPECT_GE(noted, kJobs - 2) << "what waits is done, too";
      },
      [&noted] { ++noted; });
  EXPECT_EQ(kJobs, count);
  EXPECT_EQ(kJobs, noted);
  close(ends[0]);
  close(ends[1]);
}

// However the program ends: the pipe is at its end when the worker, which holds it too, is gone.
TEST(WorkerPool, LeavesNoWorkerBehind) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  const pid_t program = fork();
  if (program == 0) {
    close(ends[0]);
    WorkerPool pool(1, std::chrono::seconds(60), [&ends](const Fields& request) {
      if (write(ends[1], "w", 1) == 1) sleep(60);
      return request;
    });
    bool isSent = false;
    pool.run(
        [&isSent](Fields& request) {
          if (isSent) return WorkerPool::Next::kEnd;
          request = {"hang"};
          isSent = true;
          return WorkerPool::Next::kRequest;
        },
        [](const Fields&, const Reply&) {});
    _exit(0);
  }
  close(ends[1]);
  char byte = 0;
  ASSERT_EQ(1, read(ends[0], &byte, 1)) << "the worker is at work";
  kill(program, SIGKILL);
  waitpid(program, nullptr, 0);
  pollfd event = {ends[0], POLLIN, 0};
  EXPECT_EQ(1, poll(&event, 1, 20000));
  close(ends[0]);
}

}  // namespace
