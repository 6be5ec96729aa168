#ifndef CLI_FLEET_STABILITY_H
#define CLI_FLEET_STABILITY_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "cli/fleet/group_table.h"

// Groups that would be one.
struct Merging {
  std::vector<std::string> values;  // of the groups, the largest first
  size_t logs = 0;
  std::string frame;                             // the first one of the largest group
  std::pair<std::string, std::string> examples;  // logs of the first two groups
  std::pair<std::string, std::string> differs;   // the first line in which their stacks differ
};

// Which groups would merge if fingerprints were made from less of the stack.
struct Variant {
  std::string what;       // "without line numbers"
  size_t groupCount = 0;  // that there would be
  std::vector<Merging> merging;
};

// `groups` as GroupTable sorts them. One without a stack stays by itself.
std::vector<Variant> StabilityOf(const std::vector<Group>& groups);

#endif  // CLI_FLEET_STABILITY_H
