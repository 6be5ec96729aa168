#ifndef CLI_FLEET_GROUP_TABLE_H
#define CLI_FLEET_GROUP_TABLE_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The frames of a filtered stack: its lines without the names of exceptions that head its blocks.
std::vector<std::string> FramesOf(std::string_view stack);

// Logs that have one result in common.
struct Group {
  std::string value;
  size_t count = 0;
  std::string first;  // paths of the first and the last log
  std::string last;
  std::string stack;                                          // of the first log; may be empty
  std::string reason;                                         // its "REASON"; may be empty
  std::vector<std::pair<std::string, std::string>> examples;  // path and event type of the first few logs
};

class GroupTable {
 public:
  void add(const std::string& value, const std::string& path, const std::string& stack, const std::string& reason = "",
           const std::string& event = "");

  // Largest first, then by value.
  std::vector<Group> sorted() const;

 private:
  std::map<std::string, Group> groups_;
};

#endif  // CLI_FLEET_GROUP_TABLE_H
