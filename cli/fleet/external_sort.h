#ifndef CLI_FLEET_EXTERNAL_SORT_H
#define CLI_FLEET_EXTERNAL_SORT_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/fleet/spill_file.h"

// An external merge sort: texts in the order of their keys, of any number in bounded memory. What memory does not hold
// goes to a file in sorted runs, which are merged when they are visited. Throws std::system_error where there is no
// room.
class ExternalSort {
 public:
  void add(std::string key, std::string text);

  bool empty() const { return held_.empty() && runs_.empty(); }

  // Once, after all are added. Equal keys come in any order.
  void forEach(const std::function<void(std::string_view key, std::string_view text)>& visit);

 private:
  void sortHeld();
  void writeRun();
  void mergeRuns(const std::function<void(std::string_view key, std::string_view text)>& visit);

  std::vector<std::pair<std::string, std::string>> held_;
  size_t heldBytes_ = 0;
  SpillFile spill_;
  std::vector<SpillFile::Place> runs_;
};

#endif  // CLI_FLEET_EXTERNAL_SORT_H
