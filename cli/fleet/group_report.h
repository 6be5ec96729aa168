#ifndef CLI_FLEET_GROUP_REPORT_H
#define CLI_FLEET_GROUP_REPORT_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>

#include "cli/fleet/explanation_pages.h"
#include "cli/fleet/group_table.h"
#include "cli/fleet/grouping.h"

// The groups of a run, with what is shown beside them.
struct GroupReport {
  GroupReport(Grouping by, size_t maxExamples, size_t maxFrames)
      : grouping(std::move(by)), table(maxExamples, maxFrames) {}

  Grouping grouping;
  GroupTable table;
  size_t grouped = 0;  // logs
  size_t without = 0;  // what they are grouped by
  size_t empty = 0;    // stacks, whose fingerprint is none
  size_t failed = 0;
  bool stability = false;
  bool like = false;                // names the groups that look alike, of the largest few thousand
  bool isSince = false;             // compared with an earlier run
  size_t groupedBefore = 0;         // logs of that
  ExplanationOptions explanations;  // of the logs that the page names
  std::string configDir;            // their rules
};

// Each returns the number of groups. The table is used up.
// Frames that seem to say nothing, as lines of a file for --skip.
size_t PrintSkipSuggestions(GroupReport& report, std::ostream& out);
size_t PrintGroupsAsText(GroupReport& report, std::ostream& out);
size_t PrintGroupsAsJson(GroupReport& report, std::ostream& out);
size_t PrintGroupsAsHtml(GroupReport& report, std::ostream& out);

#endif  // CLI_FLEET_GROUP_REPORT_H
