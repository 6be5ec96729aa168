#ifndef CLI_CHECK_TYPE_FAULT_H
#define CLI_CHECK_TYPE_FAULT_H

#include <string>

// What to say of a run that aborted: the standard library does so, instead of throwing, in code that is built without
// exceptions.
inline constexpr char kAnalysisAborted[] = "the analysis was aborted, most likely by an invalid regular expression";

// What to say of a run over the rules in `configDir` that the JSON library ended with an error, since a value cannot be
// what it is asked to be: the checker's finding about the first such value. Values that the library never asks for
// count too. Without a finding it is the `reason` that the JSON library gave.
std::string WrongTypeInRules(const std::string& configDir, const std::string& reason);

#endif  // CLI_CHECK_TYPE_FAULT_H
