#ifndef CLI_RULE_FILES_PATH_REASON_H
#define CLI_RULE_FILES_PATH_REASON_H

#include <string>

// Why the path test with these members of an entry does not let the log at `logPath` pass; `subcataLog` is not empty.
// Throws std::regex_error for an expression over which the library would end the process.
std::string WhyPathRefused(const std::string& logPath, const std::string& dirOrFile, const std::string& subcataLog);

#endif  // CLI_RULE_FILES_PATH_REASON_H
