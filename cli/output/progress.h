#ifndef CLI_OUTPUT_PROGRESS_H
#define CLI_OUTPUT_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

// The line on standard error that shows how far a run over many logs is, with its rate and the time left. It stays
// while they are analysed, and is as long as the terminal is wide at most. Without a terminal it does nothing.
class Progress {
 public:
  // `total` is asked on a terminal only, since counting takes time; it has no value when nobody knows.
  explicit Progress(const std::function<std::optional<size_t>()>& total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // So many are done.
  void show(size_t done);

  // One more is.
  void step() { show(done_ + 1); }

  // One more was done before, by another run.
  void skip() { ++skipped_; }

  // Makes room for other output on the same terminal, until it is shown again.
  void hide();

 private:
  using Clock = std::chrono::steady_clock;

  void draw();

  bool isOn_;
  bool isShown_ = false;
  std::optional<size_t> total_;
  size_t done_ = 0;
  size_t skipped_ = 0;
  Clock::time_point begin_;
  Clock::time_point drawn_;
};

#endif  // CLI_OUTPUT_PROGRESS_H
