#ifndef CLI_OUTPUT_SIDE_BY_SIDE_H
#define CLI_OUTPUT_SIDE_BY_SIDE_H

#include <iosfwd>
#include <string>
#include <vector>

// A line of two texts beside each other.
struct SideRow {
  std::string left;
  std::string right;
  char mark;  // ' ' the same, '|' changed, '<' and '>' only on that side
};

// The lines of both texts, equal ones beside each other where their order allows it.
std::vector<SideRow> SideBySide(const std::string& left, const std::string& right);

// Two columns, changes in colour when `inColour`.
void PrintSideBySide(const std::vector<SideRow>& rows, const std::string& indent, bool inColour, std::ostream& out);

#endif  // CLI_OUTPUT_SIDE_BY_SIDE_H
