#ifndef CLI_FLEET_GROUP_TABLE_H
#define CLI_FLEET_GROUP_TABLE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cli/fleet/external_sort.h"
#include "cli/fleet/result_line.h"

// The frames of a filtered stack: its lines without the names of exceptions that head its blocks.
std::vector<std::string> FramesOf(std::string_view stack);

// Logs that have something in common. What is shown of one log is that of the first in the order of the paths, so that
// it does not depend on the order in which they came.
struct Group {
  std::string value;
  size_t count = 0;   // logs
  size_t before = 0;  // logs of an earlier run, which is compared
  std::string first;  // paths of the first and the last log
  std::string last;
  std::string stack;                                          // of the first log; may be empty
  std::string reason;                                         // its "REASON"; may be empty
  std::vector<std::pair<std::string, std::string>> examples;  // path and event type of the first few logs
};

// Counts logs by group: hash aggregation. Where the groups take more memory than they may, what there is of them goes
// to a file, and comes back in the order of the values to be merged.
class GroupTable {
 public:
  // Of a group so many examples are kept, and so many frames of the stack, or with `kWholeStack` all of it.
  GroupTable(size_t maxExamples, size_t maxFrames) : maxExamples_(maxExamples), maxFrames_(maxFrames) {}

  static constexpr size_t kWholeStack = SIZE_MAX;

  void add(const std::string& value, const ResultLine& line);
  void addBefore(const std::string& value, const ResultLine& line);

  // Once, after all are added: the groups in the order of the texts that `keyOf` makes of them. They may be moved from.
  void forEach(const std::function<std::string(const Group& group)>& keyOf,
               const std::function<void(Group& group)>& visit);

 private:
  Group& groupOf(const std::string& value);
  void note(Group& group, std::string path, const ResultLine& line);
  void spill();

  size_t maxExamples_;
  size_t maxFrames_;
  std::unordered_map<std::string, Group> groups_;
  size_t heldBytes_ = 0;  // of `groups_`, about
  ExternalSort spilled_;  // groups by value
};

// A number as text, in whose order larger numbers come first.
std::string DescendingKey(size_t number);

// The order of groups by size: largest first, then by value.
std::string BySize(const Group& group);

#endif  // CLI_FLEET_GROUP_TABLE_H
