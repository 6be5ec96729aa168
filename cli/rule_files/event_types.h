#ifndef CLI_RULE_FILES_EVENT_TYPES_H
#define CLI_RULE_FILES_EVENT_TYPES_H

#include <set>
#include <string>
#include <vector>

// The event types of the feature ids in a directory's match file. Throws InputError when its files cannot be read.
std::set<std::string> EventTypesOf(const std::string& configDir);

// What is wrong with an event type that is none of `known`: which is meant perhaps, and which there are.
std::string UnknownEventType(const std::string& eventType, const std::set<std::string>& known);

// Throws InputError unless the rules in `configDir` know the event type.
void CheckEventType(const std::string& eventType, const std::string& configDir);

// The event types under which a log is to be analysed: `eventType` or, where that is empty, all that the rules know.
// Throws InputError when they do not know it, or none.
std::vector<std::string> EventTypesToTry(const std::string& eventType, const std::string& configDir);

#endif  // CLI_RULE_FILES_EVENT_TYPES_H
