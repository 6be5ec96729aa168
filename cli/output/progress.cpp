#include "cli/output/progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <string>

namespace {

constexpr std::chrono::milliseconds kInterval(100);  // between two drawings
constexpr size_t kBarWidth = 24;                     // characters

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

}  // namespace

Progress::Progress(const std::function<std::optional<size_t>()>& total)
    : isOn_(isatty(STDERR_FILENO) != 0), begin_(Clock::now()) {
  if (!isOn_) return;
  total_ = total();
  begin_ = Clock::now();
}

Progress::~Progress() { hide(); }

void Progress::step() {
  ++done_;
  if (!isOn_ || Clock::now() - drawn_ < kInterval) return;
  drawn_ = Clock::now();
  draw();
}

void Progress::hide() {
  if (isShown_) std::cerr << "\r\033[K" << std::flush;
  isShown_ = false;
}

void Progress::draw() {
  const double seconds = std::max(std::chrono::duration<double>(Clock::now() - begin_).count(), 1e-3);
  const double rate = static_cast<double>(done_) / seconds;
  const size_t all = skipped_ + done_;
  std::string line = std::to_string(all);
  if (total_) {
    const size_t total = std::max(*total_, all);
    const size_t filled = kBarWidth * all / total;
    line = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " + line + "/" +
           std::to_string(total);
  }
  line += " logs, " + std::to_string(static_cast<long>(rate + 0.5)) + "/s";
  if (total_) line += ", " + Duration(static_cast<double>(std::max(*total_, all) - all) / rate) + " left";
  std::cerr << '\r' << line << "\033[K" << std::flush;
  isShown_ = true;
}
