#ifndef CLI_EXPLAIN_LOG_HEALTH_H
#define CLI_EXPLAIN_LOG_HEALTH_H

#include <string>
#include <string_view>
#include <vector>

// What there is to say about the text of a log, and what the library does about it.
std::vector<std::string> RemarksOn(std::string_view log);

#endif  // CLI_EXPLAIN_LOG_HEALTH_H
