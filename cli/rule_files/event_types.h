#ifndef CLI_RULE_FILES_EVENT_TYPES_H
#define CLI_RULE_FILES_EVENT_TYPES_H

#include <set>
#include <string>

// The event types of the feature ids in a directory's match file. Throws InputError when its files cannot be read.
std::set<std::string> EventTypesOf(const std::string& configDir);

// What is wrong with an event type that is none of `known`: which is meant perhaps, and which there are.
std::string UnknownEventType(const std::string& eventType, const std::set<std::string>& known);

// Throws InputError unless the rules in `configDir` know the event type.
void CheckEventType(const std::string& eventType, const std::string& configDir);

#endif  // CLI_RULE_FILES_EVENT_TYPES_H
