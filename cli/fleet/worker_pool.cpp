#include "cli/fleet/worker_pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/library/library_call.h"

namespace {

constexpr size_t kMaxTasks = 128 * 1024;                              // ahead of the oldest one that is not done
constexpr size_t kMaxKeptBytes = 8 * 1024 * 1024;                     // of replies that wait; more go to the file
constexpr size_t kMaxHeldBytes = 64 * 1024 * 1024;                    // of replies, where there is no room for a file
constexpr size_t kMaxSpilledBytes = 8UL * 1024 * 1024 * 1024;         // of the file
constexpr size_t kMaxHandedOver = 256;                                // replies, before the workers are looked at again
constexpr std::chrono::nanoseconds kForever = std::chrono::hours(1);  // a wait is simply taken up again
constexpr int kInterrupts[] = {SIGINT, SIGTERM};

[[noreturn]] void ThrowErrno(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

// --- Messages ---

// False when the other end is gone.
bool Send(int socket, std::string_view message) {
  while (!message.empty()) {
    const ssize_t sent = send(socket, message.data(), message.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno != EINTR) return false;
    if (sent > 0) message.remove_prefix(static_cast<size_t>(sent));
  }
  return true;
}

// Appends what has arrived. False when the other end is gone.
bool Receive(int socket, std::string& received) {
  char buffer[64 * 1024];
  const ssize_t size = recv(socket, buffer, sizeof buffer, 0);
  if (size > 0) received.append(buffer, static_cast<size_t>(size));
  return size > 0 || (size < 0 && errno == EINTR);
}

// --- The worker ---

// Every reply begins with one of these.
const std::string kReturned = "returned";
const std::string kThrew = "threw";

[[noreturn]] void Work(int socket, const WorkerPool::Job& job) {
  Fields request;
  for (std::string received; Receive(socket, received);) {
    if (MessageSize(received) == 0) continue;
    Decode(received, request);
    received.clear();
    try {
      Fields reply = job(request);
      reply.insert(reply.begin(), kReturned);
      Send(socket, Encoded(reply));
    } catch (const std::exception& error) {
      Send(socket, Encoded({kThrew, error.what()}));
      break;
    }
  }
  _exit(0);
}

// The worker ends with the program, however that ends, takes no signal that is meant for the program, and leaves the
// program's streams and the disk alone.
void BecomeWorker(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  for (const int signal : kInterrupts) std::signal(signal, SIG_IGN);
  prctl(PR_SET_DUMPABLE, 0);  // no core file for each log that ends a worker
  const int none = open("/dev/null", O_RDWR);
  dup2(none, STDIN_FILENO);
  dup2(none, STDOUT_FILENO);
  close(none);
}

// --- Signals of the program ---

volatile std::sig_atomic_t interruptSignal = 0;

void OnInterrupt(int signal) { interruptSignal = signal; }

// While it lives, an interrupt sets `interruptSignal`; a second one ends the process at once. A signal that the process
// was started to ignore stays ignored.
class InterruptNote {
 public:
  InterruptNote() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (size_t i = 0; i < kInterruptCount; ++i) {
      sigaction(kInterrupts[i], nullptr, &before_[i]);
      if (before_[i].sa_handler != SIG_IGN) sigaction(kInterrupts[i], &action, nullptr);
    }
  }
  ~InterruptNote() {
    for (size_t i = 0; i < kInterruptCount; ++i) sigaction(kInterrupts[i], &before_[i], nullptr);
    if (interruptSignal != 0) std::raise(interruptSignal);
  }
  InterruptNote(const InterruptNote&) = delete;
  InterruptNote& operator=(const InterruptNote&) = delete;

 private:
  static constexpr size_t kInterruptCount = std::size(kInterrupts);
  struct sigaction before_[kInterruptCount] {};
};

// False when an interrupt came instead of an event; one that comes right before the wait is not missed.
bool WaitUninterrupted(std::vector<pollfd>& events, std::chrono::nanoseconds limit) {
  sigset_t signals;
  sigset_t before;
  sigemptyset(&signals);
  for (const int signal : kInterrupts) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, &before);
  const auto seconds = std::chrono::floor<std::chrono::seconds>(limit);
  const timespec timeout = {seconds.count(), static_cast<long>((limit - seconds).count())};
  int ready = -1;
  if (interruptSignal == 0) {
    ready = ppoll(events.data(), events.size(), &timeout, &before);
    if (ready < 0 && errno != EINTR) ThrowErrno("waiting for the workers failed");
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return ready >= 0;
}

// --- What waits for its turn: a request, and the reply ---

std::string EncodedTask(const Fields& request, const Reply& reply) {
  Fields all = {std::to_string(request.size()), reply.fault};
  all.insert(all.end(), request.begin(), request.end());
  all.insert(all.end(), reply.fields.begin(), reply.fields.end());
  return Encoded(all);
}

void DecodeTask(std::string_view message, Fields& request, Reply& reply) {
  Fields all;
  Decode(message, all);
  const auto begin = all.begin() + 2;
  const auto end = begin + std::stol(all[0]);
  request.assign(begin, end);
  reply = {Fields(end, all.end()), std::move(all[1])};
}

std::string ReasonOf(int status) {
  if (!WIFSIGNALED(status)) return "the analysis ended its process";
  const int signal = WTERMSIG(status);
  if (signal == SIGABRT) return kAnalysisAborted;
  return "the analysis was ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

}  // namespace

WorkerPool::WorkerPool(size_t workerCount, std::chrono::seconds limit, Job job)
    : limit_(limit), job_(std::move(job)), workers_(workerCount) {}

WorkerPool::~WorkerPool() {
  for (Worker& worker : workers_) {
    if (worker.pid != -1) end(worker);
  }
}

void WorkerPool::run(const Source& source, const Sink& sink, const Note& note) {
  const InterruptNote interrupts;
  isAtEnd_ = false;
  while (interruptSignal == 0) {
    dispatch(source);
    if (tasks_.empty() && isAtEnd_) return;
    waitForEvents();
    endOverdue();
    for (; finished_ > 0; --finished_) note();
    handOver(sink);
  }
}

void WorkerPool::dispatch(const Source& source) {
  isWaiting_ = false;
  for (Worker& worker : workers_) {
    if (worker.task != nullptr) continue;
    if (isAtEnd_ || isWaiting_ || tasks_.size() >= kMaxTasks) return;
    if (heldBytes_ >= kMaxHeldBytes || spill_.size() >= kMaxSpilledBytes) return;
    Fields request;
    const Next next = source(request);
    isAtEnd_ = next == Next::kEnd;
    isWaiting_ = next == Next::kWait;
    if (next != Next::kRequest) return;
    if (worker.pid == -1) start(worker);
    worker.task = &tasks_.emplace_back(Task{Encoded(request), {}, false});
    worker.deadline = Clock::now() + limit_;
    Send(worker.socket, worker.task->message);  // one that is gone is noticed when its reply is read
  }
}

void WorkerPool::start(Worker& worker) {
  int sockets[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) ThrowErrno("no worker can be started");
  const pid_t parent = getpid();
  worker.pid = fork();
  if (worker.pid == 0) {
    BecomeWorker(parent);
    for (const Worker& other : workers_) {
      if (other.socket != -1) close(other.socket);
    }
    close(sockets[0]);
    Work(sockets[1], job_);
  }
  close(sockets[1]);
  worker.socket = sockets[0];
  if (worker.pid == -1) ThrowErrno("no worker can be started");
}

std::chrono::nanoseconds WorkerPool::timeLeft() const {
  if (!tasks_.empty() && tasks_.front().isDone) return std::chrono::nanoseconds(0);
  std::chrono::nanoseconds left = kForever;
  for (const Worker& worker : workers_) {
    if (worker.task != nullptr && limit_.count() > 0) left = std::min(left, worker.deadline - Clock::now());
  }
  return std::max(left, std::chrono::nanoseconds(0));
}

void WorkerPool::waitForEvents() {
  std::vector<pollfd> events;
  for (const Worker& worker : workers_) events.push_back({worker.socket, POLLIN, 0});  // poll passes over a -1
  if (isWaiting_) events.push_back({STDIN_FILENO, POLLIN, 0});
  if (!WaitUninterrupted(events, timeLeft())) return;
  for (size_t i = 0; i < workers_.size(); ++i) {
    if (events[i].revents != 0) receive(workers_[i]);
  }
}

void WorkerPool::receive(Worker& worker) {
  if (!Receive(worker.socket, worker.received)) {
    finish(worker, {{}, end(worker)});
    return;
  }
  Fields fields;
  if (MessageSize(worker.received) == 0) return;
  Decode(worker.received, fields);
  worker.received.clear();
  if (fields.front() == kThrew) {
    end(worker);
    finish(worker, {{}, fields.at(1).empty() ? "the analysis failed" : fields.at(1)});
    return;
  }
  fields.erase(fields.begin());
  finish(worker, {std::move(fields), ""});
}

void WorkerPool::finish(Worker& worker, const Reply& reply) {
  if (worker.task == nullptr) return;
  Task& task = *std::exchange(worker.task, nullptr);
  ++finished_;
  Fields request;
  Decode(task.message, request);
  std::string message = EncodedTask(request, reply);
  task.isDone = true;
  if (heldBytes_ + message.size() > kMaxKeptBytes && &task != &tasks_.front() && spill_.append(message, task.spilled)) {
    task.message = std::string();
    ++spilledTasks_;
    return;
  }
  heldBytes_ += message.size();
  task.message = std::move(message);
}

void WorkerPool::endOverdue() {
  if (limit_.count() == 0) return;
  for (Worker& worker : workers_) {
    if (worker.task == nullptr || Clock::now() < worker.deadline) continue;
    end(worker);
    finish(worker, {{}, "the analysis took longer than " + std::to_string(limit_.count()) + " s"});
  }
}

// Returns why the process ended, if it did so by itself.
std::string WorkerPool::end(Worker& worker) {
  kill(worker.pid, SIGKILL);  // of a process that has ended but was not waited for this changes nothing
  int status = 0;
  while (waitpid(worker.pid, &status, 0) < 0 && errno == EINTR) {
  }
  close(worker.socket);
  worker.pid = -1;
  worker.socket = -1;
  worker.received.clear();
  return ReasonOf(status);
}

void WorkerPool::handOver(const Sink& sink) {
  Fields request;
  Reply reply;
  for (size_t i = 0; i < kMaxHandedOver && !tasks_.empty() && tasks_.front().isDone && interruptSignal == 0; ++i) {
    const Task task = std::move(tasks_.front());
    tasks_.pop_front();
    const bool isSpilled = task.message.empty();
    DecodeTask(isSpilled ? spill_.read(task.spilled) : task.message, request, reply);
    if (!isSpilled) heldBytes_ -= task.message.size();
    if (isSpilled && --spilledTasks_ == 0) spill_.clear();
    sink(request, reply);
  }
}
