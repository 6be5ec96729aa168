#ifndef CLI_FLEET_FRAME_SKIPS_H
#define CLI_FLEET_FRAME_SKIPS_H

#include <string>
#include <string_view>
#include <vector>

#include "regex/regex.h"

// Frames that say nothing about a failure: those in which one of some expressions is found.
class FrameSkips {
 public:
  FrameSkips() = default;

  // An expression on each line; where a "#" begins the line or follows a blank, the reason begins. Throws InputError
  // that names the line and column of an expression that the library does not search itself.
  explicit FrameSkips(const std::string& path);

  void add(const std::string& expression) { expressions_.emplace_back(expression); }
  bool empty() const { return expressions_.empty(); }

  bool skips(std::string_view frame);

 private:
  std::vector<Regex> expressions_;
};

#endif  // CLI_FLEET_FRAME_SKIPS_H
