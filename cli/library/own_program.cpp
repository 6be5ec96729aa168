#include "cli/library/own_program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <thread>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit(20);
constexpr int kStaleCheck = 20;  // ms

// A pipe that no other program inherits.
class Pipe {
 public:
  Pipe() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0) ends_ = {-1, -1};
  }
  ~Pipe() {
    closeRead();
    closeWrite();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void closeRead() { closeEnd(ends_[0]); }
  void closeWrite() { closeEnd(ends_[1]); }

 private:
  static void closeEnd(int& end) {
    if (end >= 0) close(end);
    end = -1;
  }

  std::array<int, 2> ends_ = {-1, -1};
};

// The arguments as posix_spawn wants them; they point into `words`.
std::vector<char*> ArgumentsOf(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  return arguments;
}

// The child gets the signals that this program blocks for its threads.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &defaults);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

pid_t Spawn(const std::vector<std::string>& words, const std::array<int, 3>& streams) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int i = 0; i < 3; ++i) posix_spawn_file_actions_adddup2(&actions, streams[static_cast<size_t>(i)], i);
  const SpawnAttributes attributes;
  std::vector<char*> arguments = ArgumentsOf(words);
  pid_t child = -1;
  const int failure = posix_spawnp(&child, arguments[0], &actions, attributes.get(), arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return failure == 0 ? child : -1;
}

// Appends what there is to read. False at the end.
bool ReadSome(int fd, std::string& text) {
  std::array<char, 64 * 1024> buffer;
  const ssize_t size = read(fd, buffer.data(), buffer.size());
  if (size > 0) text.append(buffer.data(), static_cast<size_t>(size));
  return size > 0 || (size < 0 && errno == EINTR);
}

// Writes some of the rest of `text`. False when all is written, or nobody reads it.
bool WriteSome(int fd, const std::string& text, size_t& written) {
  const ssize_t size = write(fd, text.data() + written, text.size() - written);
  if (size > 0) written += static_cast<size_t>(size);
  return written < text.size() && (size > 0 || errno == EINTR || errno == EAGAIN);
}

// Until the child has closed its outputs. False when it is to be ended before.
bool Converse(Pipe& in, Pipe& out, Pipe& err, const std::string& input, ProgramRun& run,
              const std::function<bool()>& isStale) {
  const auto deadline = Clock::now() + kLimit;
  size_t written = 0;
  if (input.empty()) in.closeWrite();
  while (out.readEnd() >= 0 || err.readEnd() >= 0) {
    std::array<pollfd, 3> events = {
        {{out.readEnd(), POLLIN, 0}, {err.readEnd(), POLLIN, 0}, {in.writeEnd(), POLLOUT, 0}}};
    poll(events.data(), events.size(), kStaleCheck);
    if (events[0].revents != 0 && !ReadSome(out.readEnd(), run.output)) out.closeRead();
    if (events[1].revents != 0 && !ReadSome(err.readEnd(), run.errors)) err.closeRead();
    if (events[2].revents != 0 && !WriteSome(in.writeEnd(), input, written)) in.closeWrite();
    if (isStale() || Clock::now() > deadline) return false;
  }
  return true;
}

}  // namespace

ProgramRun RunOwnProgram(const std::vector<std::string>& arguments, const std::string& input,
                         const std::function<bool()>& isStale) {
  std::vector<std::string> words = {"/proc/self/exe"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  Pipe in;
  Pipe out;
  Pipe err;
  ProgramRun run;
  const pid_t child = Spawn(words, {in.readEnd(), out.writeEnd(), err.writeEnd()});
  if (child < 0) {
    run.errors = "the analysis cannot be started";
    return run;
  }
  in.closeRead();
  out.closeWrite();
  err.closeWrite();
  fcntl(in.writeEnd(), F_SETFL, O_NONBLOCK);
  const bool isDone = Converse(in, out, err, input, run, isStale);
  if (!isDone) {
    kill(child, SIGKILL);
    run.isStale = isStale();
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (isDone && WIFEXITED(status)) run.status = WEXITSTATUS(status);
  if (run.status < 0 && run.errors.empty()) {
    run.errors = isDone ? "the analysis ended its process" : "the analysis took longer than 20 s";
  }
  return run;
}

std::string FaultOf(const ProgramRun& run) {
  const std::string head = "kestrix: ";
  std::string fault = run.errors.substr(0, run.errors.find('\n'));
  if (fault.starts_with(head)) fault.erase(0, head.size());
  return fault.empty() ? "the analysis ended its process" : fault;
}

bool StartProgram(const std::vector<std::string>& words) {
  const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
  const pid_t child = Spawn(words, {none, none, none});
  close(none);
  if (child < 0) return false;
  std::thread([child] {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
  }).detach();
  return true;
}
