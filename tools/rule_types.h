#ifndef TOOLS_RULE_TYPES_H
#define TOOLS_RULE_TYPES_H

#include <string>

// Where a file of match rules, or of assemble rules, holds the first value of a type that it cannot be read as, e.g.
// "Line 3, featureFrame_a.rules[0].num"; empty when there is none. Values that the library never asks for count too.
std::string WrongTypeInMatchRules(const std::string& path);
std::string WrongTypeInAssembleRules(const std::string& path);

#endif  // TOOLS_RULE_TYPES_H
