#include "cli/output/side_by_side.h"

#include <algorithm>
#include <ostream>

#include "cli/output/lines.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"

namespace {

constexpr size_t kMaxCells = 4'000'000;  // of the table of common lines; larger texts are paired line by line

using Lines = std::vector<std::string>;

// For each place in both texts the number of lines that what follows has in common, row by row.
class CommonLines {
 public:
  CommonLines(const Lines& left, const Lines& right) : width_(right.size() + 1) {
    if ((left.size() + 1) * width_ > kMaxCells) return;
    counts_.resize((left.size() + 1) * width_);
    for (size_t i = left.size(); i-- > 0;) {
      for (size_t j = right.size(); j-- > 0;) {
        at(i, j) = left[i] == right[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
      }
    }
  }

  bool isLeftOnly(size_t i, size_t j) const { return !counts_.empty() && count(i + 1, j) == count(i, j); }
  bool isRightOnly(size_t i, size_t j) const { return !counts_.empty() && count(i, j + 1) == count(i, j); }

 private:
  size_t& at(size_t i, size_t j) { return counts_[i * width_ + j]; }
  size_t count(size_t i, size_t j) const { return counts_[i * width_ + j]; }

  size_t width_;
  std::vector<size_t> counts_;
};

// Lines that stand against each other, as far as both sides have any.
void AppendChanged(const Lines& left, const Lines& right, std::vector<SideRow>& rows) {
  for (size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
    if (i >= right.size()) {
      rows.push_back({left[i], "", '<'});
    } else if (i >= left.size()) {
      rows.push_back({"", right[i], '>'});
    } else {
      rows.push_back({left[i], right[i], left[i] == right[i] ? ' ' : '|'});
    }
  }
}

}  // namespace

std::vector<SideRow> SideBySide(const std::string& left, const std::string& right) {
  const Lines a = LinesOf(left);
  const Lines b = LinesOf(right);
  const CommonLines common(a, b);
  std::vector<SideRow> rows;
  Lines removed;
  Lines added;
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (a[i] == b[j]) {
      AppendChanged(removed, added, rows);
      removed.clear();
      added.clear();
      rows.push_back({a[i++], b[j++], ' '});
    } else if (common.isLeftOnly(i, j)) {
      removed.push_back(a[i++]);
    } else if (common.isRightOnly(i, j)) {
      added.push_back(b[j++]);
    } else {
      removed.push_back(a[i++]);
      added.push_back(b[j++]);
    }
  }
  removed.insert(removed.end(), a.begin() + static_cast<ptrdiff_t>(i), a.end());
  added.insert(added.end(), b.begin() + static_cast<ptrdiff_t>(j), b.end());
  AppendChanged(removed, added, rows);
  return rows;
}

void PrintSideBySide(const std::vector<SideRow>& rows, const std::string& indent, bool inColour, std::ostream& out) {
  size_t width = 0;
  for (const SideRow& row : rows) width = std::max(width, CharacterCount(LineForPeople(row.left)));
  for (const SideRow& row : rows) {
    const std::string left = LineForPeople(row.left);
    const std::string padding(width - CharacterCount(left), ' ');
    const bool isPainted = inColour && row.mark != ' ';
    std::string line = indent + Painted(isPainted, "31", left) + padding + " " + row.mark;
    if (!row.right.empty()) line += " " + Painted(isPainted, "32", LineForPeople(row.right));
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}
