#ifndef CLI_CHECK_REPORT_H
#define CLI_CHECK_REPORT_H

#include <iosfwd>
#include <vector>

#include "cli/check/findings.h"

// For people and editors: a line per finding, with the line of the file and a caret below the place.
void PrintAsText(const std::vector<Finding>& findings, bool inColour, std::ostream& out);

// One JSON object.
void PrintAsJson(const std::vector<Finding>& findings, std::ostream& out);

// SARIF 2.1.0.
void PrintAsSarif(const std::vector<Finding>& findings, std::ostream& out);

size_t CountOf(const std::vector<Finding>& findings, Severity severity);

#endif  // CLI_CHECK_REPORT_H
