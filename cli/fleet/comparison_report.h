#ifndef CLI_FLEET_COMPARISON_REPORT_H
#define CLI_FLEET_COMPARISON_REPORT_H

#include <iosfwd>
#include <string>
#include <vector>

#include "cli/fleet/comparison.h"

// The directories that were compared.
struct ComparedRules {
  std::string before;
  std::string after;
  std::string event;  // that was asked for; may be empty
};

// For people; of long lists the beginning.
void PrintAsText(const Comparison& comparison, const ComparedRules& rules, bool inColour, std::ostream& out);

// One JSON object.
void PrintAsJson(const Comparison& comparison, const ComparedRules& rules, std::ostream& out);

// Where the explanations of a log stand, as links; empty where there is none.
struct LogPages {
  std::string before;
  std::string after;
};

// One page that needs no other file. It leads to `pages`: none, or those of each log that differs, in their order.
void PrintAsHtml(const Comparison& comparison, const ComparedRules& rules, const std::vector<LogPages>& pages,
                 std::ostream& out);

#endif  // CLI_FLEET_COMPARISON_REPORT_H
