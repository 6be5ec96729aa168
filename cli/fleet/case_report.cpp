#include "cli/fleet/case_report.h"

#include <algorithm>
#include <ostream>

#include "cli/output/lines.h"
#include "cli/output/markup.h"
#include "cli/output/terminal.h"

size_t FailureCount(const std::vector<CaseOutcome>& outcomes) {
  return static_cast<size_t>(std::count_if(outcomes.begin(), outcomes.end(), [](const CaseOutcome& outcome) {
    return !outcome.fault.empty() && !outcome.isUpdated;
  }));
}

void PrintAsText(const std::vector<CaseOutcome>& outcomes, bool inColour, std::ostream& out) {
  for (const CaseOutcome& outcome : outcomes) {
    const std::string path = LineForPeople(outcome.path);
    if (outcome.fault.empty()) {
      out << Painted(inColour, "32", "ok") << "      " << path << '\n';
      continue;
    }
    out << (outcome.isUpdated ? Painted(inColour, "33", "updated") + " " : Painted(inColour, "31", "FAILED") + "  ")
        << path << ": " << LineForPeople(outcome.fault) << '\n';
    out << outcome.story;
  }
  const size_t failures = FailureCount(outcomes);
  out << Counted(outcomes.size(), "case") << ", " << failures << " failed\n";
}

void PrintAsTap(const std::vector<CaseOutcome>& outcomes, std::ostream& out) {
  out << "TAP version 13\n1.." << outcomes.size() << '\n';
  for (size_t i = 0; i < outcomes.size(); ++i) {
    const CaseOutcome& outcome = outcomes[i];
    const bool isGood = outcome.fault.empty() || outcome.isUpdated;
    std::string path = LineForPeople(outcome.path);
    std::replace(path.begin(), path.end(), '#', '_');  // it would begin a directive
    out << (isGood ? "ok " : "not ok ") << i + 1 << " - " << path << '\n';
    if (outcome.fault.empty()) continue;
    out << "# " << LineForPeople(outcome.fault) << '\n';
    for (const std::string& line : LinesOf(outcome.story)) out << "# " << line << '\n';
  }
}

void PrintAsJunit(const std::vector<CaseOutcome>& outcomes, std::ostream& out) {
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"kestrix\" tests=\"" << outcomes.size()
      << "\" failures=\"" << FailureCount(outcomes) << "\">\n";
  for (const CaseOutcome& outcome : outcomes) {
    out << "  <testcase classname=\"kestrix\" name=\"" << EscapedForMarkup(outcome.path) << '"';
    if (outcome.fault.empty() || outcome.isUpdated) {
      out << "/>\n";
      continue;
    }
    out << ">\n    <failure message=\"" << EscapedForMarkup(outcome.fault) << "\">" << EscapedForMarkup(outcome.story)
        << "</failure>\n  </testcase>\n";
  }
  out << "</testsuite>\n";
}
