#ifndef CLI_FLEET_ALIKE_GROUPS_H
#define CLI_FLEET_ALIKE_GROUPS_H

#include <json/json.h>

#include <cstddef>
#include <iosfwd>
#include <string_view>
#include <vector>

#include "cli/fleet/group_table.h"
#include "cli/fleet/grouping.h"

// Draws a ToJson(AlikeGroups), on a page on which another script calls it.
extern const std::string_view kAlikeGroupsPageScript;

// Groups of which most look like one of them. They stay groups of their own: this is advice.
struct AlikeSet {
  struct Member {
    size_t group = 0;
    double distance = 0;  // from the first, as StackLikeness has it
  };

  std::vector<Member> members;  // the largest group first, then the nearest to it
  size_t logs = 0;
};

// Which groups have stacks that are alike.
struct AlikeGroups {
  std::vector<Group> groups;   // that were held against each other, the largest first
  std::vector<AlikeSet> sets;  // of two or more, that of most logs first

  size_t alikeCount() const;  // groups that look like a larger one
};

// `groups` with their stacks, in any order.
AlikeGroups FindAlike(std::vector<Group> groups, Grouping& grouping);

// For people; of long lists the beginning.
void PrintAsText(const AlikeGroups& alike, const Grouping& grouping, std::ostream& out);

Json::Value ToJson(const AlikeGroups& alike);

#endif  // CLI_FLEET_ALIKE_GROUPS_H
