#include "cli/output/side_by_side.h"

#include <gtest/gtest.h>

namespace {

TEST(SideBySide, PutsEqualLinesBesideEachOther) {
  const std::string longText(3000, '\n');
  const struct {
    std::string left;
    std::string right;
    const char* marks;
  } kCases[] = {
      {"", "", ""},
      {"a\r\nb\r\nc", "a\nb\nc\n", "   "},
      {"a\nb\nc", "b\nc\nd", "<  >"},
      {"a\nx\nc", "a\ny\nz\nc", " |> "},
      {"a", "", "<"},
      {"a\nb", "b\na", "< >"},
  };
  for (const auto& c : kCases) {
    std::string marks;
    for (const SideRow& row : SideBySide(c.left, c.right)) marks += row.mark;
    EXPECT_EQ(c.marks, marks) << c.left << "\n" << c.right;
  }
  EXPECT_EQ(3001U, SideBySide(longText + "a", longText + "b").size()) << "paired where aligning takes too much";
}

}  // namespace
