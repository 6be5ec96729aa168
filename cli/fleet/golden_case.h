#ifndef CLI_FLEET_GOLDEN_CASE_H
#define CLI_FLEET_GOLDEN_CASE_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/fleet/log_run.h"

// A folder that holds a log and what it is to give: log.txt, also compressed as log.txt.gz or log.txt.zst, event with
// the event type, expected.json with the whole result map, a value of several lines also as an array of them, unless
// all cases have the same rules the folder rules and, for path tests, path with that of the device.
struct GoldenCase {
  std::string path;  // of the folder
  LogRun run;
  std::optional<TextMap> expected;  // none: there is no expected.json yet
  std::set<std::string> inLines;    // the keys whose expected value is an array of lines
  std::string fault;                // what of the folder cannot be used; mostly empty
};

// The cases in the folders, each a case or a folder of cases, in the order of the names. `configDir` is for those
// without rules. Throws InputError for a path that is neither.
std::vector<GoldenCase> FindGoldenCases(const std::vector<std::string>& paths, const std::string& configDir);

// What is expected: where that is lines, with the line ends of the result.
TextMap ExpectedOf(const GoldenCase& golden, const TextMap& actual);

// The keys whose values differ, those that just follow from "STACK" last.
std::vector<std::string> Differences(const TextMap& expected, const TextMap& actual);

// Rewrites expected.json, in which arrays stay arrays. Throws InputError.
void UpdateExpected(const GoldenCase& golden, const TextMap& actual);

#endif  // CLI_FLEET_GOLDEN_CASE_H
