#ifndef CLI_FLEET_EXPLANATION_PAGES_H
#define CLI_FLEET_EXPLANATION_PAGES_H

#include <string>
#include <vector>

#include "cli/fleet/log_run.h"
#include "cli/fleet/replay.h"

// Pages of `explain` that a report of many logs leads to.
struct ExplanationOptions {
  std::string folder;  // of the pages; empty: none are wanted
  std::string report;  // the file from which the links lead
  bool checkPath = false;
  WorkerOptions workers;
};

// Writes a page for each run into the folder, which is made where it is missing. Returns the links to them, in the
// order of the runs; an empty one where the log cannot be read or the analysis ended its process, which is reported on
// standard error. Throws InputError for a folder that cannot be made.
std::vector<std::string> WriteExplanations(const std::vector<LogRun>& runs, const ExplanationOptions& options);

// Throws InputError where pages are wanted, but no report that could lead to them.
void CheckExplanations(const ExplanationOptions& options, const std::string& format);

#endif  // CLI_FLEET_EXPLANATION_PAGES_H
