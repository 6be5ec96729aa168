#ifndef CLI_CHECK_REGEX_FAULTS_H
#define CLI_CHECK_REGEX_FAULTS_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// Why a regular expression is refused.
struct RegexFault {
  bool isPortability;  // this machine's library takes the expression, the device's does not
  size_t offset;
  size_t length;
  std::string reason;
};

// The first fault of an expression (ECMAScript, as the standard libraries read it); empty when it has none. This
// machine's library has the last word on what is invalid.
std::optional<RegexFault> FindRegexFault(const std::string& expression);

#endif  // CLI_CHECK_REGEX_FAULTS_H
