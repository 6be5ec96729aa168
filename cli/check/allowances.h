#ifndef CLI_CHECK_ALLOWANCES_H
#define CLI_CHECK_ALLOWANCES_H

#include <vector>

#include "cli/check/findings.h"

// Takes the findings out of `findings` that the file means: "$allow": ["CODE: REASON"] in an object allows those of
// that code in it and in all that it holds. An allowance that allows nothing is a finding itself, as is one without a
// code or a reason.
void ApplyAllowances(const JsonFile& file, std::vector<Finding>& findings);

#endif  // CLI_CHECK_ALLOWANCES_H
