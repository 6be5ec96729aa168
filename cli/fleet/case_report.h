#ifndef CLI_FLEET_CASE_REPORT_H
#define CLI_FLEET_CASE_REPORT_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

// How a golden case went.
struct CaseOutcome {
  std::string path;
  std::string fault;  // in one line; empty when the case passed
  std::string story;  // what differs and how it came about
  bool isUpdated = false;
};

// Of cases that failed and were not updated.
size_t FailureCount(const std::vector<CaseOutcome>& outcomes);

void PrintAsText(const std::vector<CaseOutcome>& outcomes, bool inColour, std::ostream& out);

// The Test Anything Protocol, version 13.
void PrintAsTap(const std::vector<CaseOutcome>& outcomes, std::ostream& out);

void PrintAsJunit(const std::vector<CaseOutcome>& outcomes, std::ostream& out);

#endif  // CLI_FLEET_CASE_REPORT_H
