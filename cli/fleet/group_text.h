#ifndef CLI_FLEET_GROUP_TEXT_H
#define CLI_FLEET_GROUP_TEXT_H

#include <string>
#include <vector>

#include "cli/fleet/group_table.h"
#include "cli/fleet/grouping.h"

// How a group is shown.

constexpr size_t kTopFrames = 3;  // below its name, where it was not made by more

// What names it on one line: its values, or of frames the first.
std::string TitleOf(const Group& group, const Grouping& grouping);

// The reason of its first log on one line; empty where there is none, or the name has it.
std::string ReasonOf(const Group& group, const Grouping& grouping);

// The frames below its name: the first ones, or those that it was made by.
std::vector<std::string> FramesBelow(const Group& group, const Grouping& grouping);

#endif  // CLI_FLEET_GROUP_TEXT_H
