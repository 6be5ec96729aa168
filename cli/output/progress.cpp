#include "cli/output/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <string>

namespace {

constexpr std::chrono::milliseconds kInterval(100);  // between two drawings
constexpr size_t kMinBar = 6;                        // characters; without room for them there is no bar
constexpr size_t kMaxBar = 24;
constexpr size_t kUsualWidth = 80;

std::string Duration(double seconds) {
  const auto whole = static_cast<long>(seconds + 0.5);
  std::array<char, 64> text{};
  if (whole < 3600) {
    std::snprintf(text.data(), text.size(), "%ld:%02ld", whole / 60, whole % 60);
  } else {
    std::snprintf(text.data(), text.size(), "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
  }
  return text.data();
}

size_t TerminalWidth() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
}

// Without a rate until something is done.
std::string Text(size_t skipped, size_t done, std::optional<size_t> total, double seconds) {
  const size_t all = skipped + done;
  std::string text = std::to_string(all) + (total ? "/" + std::to_string(std::max(*total, all)) : "") + " logs";
  if (done == 0) return text;
  const double rate = static_cast<double>(done) / std::max(seconds, 1e-3);
  text += ", " + std::to_string(static_cast<long>(rate + 0.5)) + "/s";
  if (total) text += ", " + Duration(static_cast<double>(std::max(*total, all) - all) / rate) + " left";
  return text;
}

}  // namespace

Progress::Progress(const std::function<std::optional<size_t>()>& total)
    : isOn_(isatty(STDERR_FILENO) != 0), begin_(Clock::now()) {
  if (!isOn_) return;
  total_ = total();
  begin_ = Clock::now();
  draw();
}

Progress::~Progress() { hide(); }

void Progress::show(size_t done) {
  done_ = done;
  if (isOn_ && (!isShown_ || Clock::now() - drawn_ >= kInterval)) draw();
}

void Progress::hide() {
  if (isShown_) std::cerr << "\r\033[K" << std::flush;
  isShown_ = false;
}

void Progress::draw() {
  const std::string text = Text(skipped_, done_, total_, std::chrono::duration<double>(Clock::now() - begin_).count());
  const size_t width = TerminalWidth() - 1;  // a full line would wrap
  std::string line = text.substr(0, width);
  const size_t all = skipped_ + done_;
  if (total_ && line.size() + kMinBar + 3 <= width) {
    const size_t bar = std::min(kMaxBar, width - line.size() - 3);
    const size_t filled = bar * all / std::max({*total_, all, size_t{1}});
    line = "[" + std::string(filled, '#') + std::string(bar - filled, '.') + "] " + line;
  }
  std::cerr << '\r' << line << "\033[K" << std::flush;
  isShown_ = true;
  drawn_ = Clock::now();
}
