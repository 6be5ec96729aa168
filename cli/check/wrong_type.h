#ifndef CLI_CHECK_WRONG_TYPE_H
#define CLI_CHECK_WRONG_TYPE_H

#include <string>

// The error message for a run over the rules in `configDir` that the JSON library ended because a value has the wrong
// type: the checker's first such finding, even one in a member that the run did not read; without one, the `reason`
// that the JSON library gave.
std::string WrongTypeInRules(const std::string& configDir, const std::string& reason);

#endif  // CLI_CHECK_WRONG_TYPE_H
