#ifndef BENCH_INPUTS_H
#define BENCH_INPUTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "rules/rule_records.h"

// The inputs of all benchmarks: the same in every run, true in shape to what devices write.

// A log of `size` bytes or slightly less, as the device's log buffer gives it: mostly chatter, now and then a Java
// crash, a native crash or a kernel message. The lines `early` stand near its beginning, and `front` on each line of
// chatter.
std::string MakeLog(size_t size, const std::vector<std::string>& early = {}, const std::string& front = "");

// One feature's rules for the benchmark of that name.
struct Workload {
  std::string name;
  std::list<FeatureRule> rules;
  std::vector<std::string> hits = {};  // a line for each rule that it matches
  std::string front = {};              // what the log has on each line
};

// One plain keyword, found now and then.
Workload OneKeyword();
// `count` plain keywords, most of them not in the log.
Workload Keywords(size_t count);
// `count` regular expressions with a fixed text inside.
Workload RegexesWithText(size_t count);
// Regular expressions without one.
Workload RegexesWithoutText();
// A keyword on every line, with a parameter that seldom matches.
Workload KeywordEverywhere();

// What makes a scan slow.
// Rules, and one more that accepts every line and takes nothing from it.
Workload AndEveryLine(Workload workload);
// Rules that wait for a record that never comes: for their dependency, or for a variable.
Workload UnmetDependencies(size_t count);
Workload OpenVariables(size_t count, size_t recordNames);
// Rules that begin with what is on every line and end differently.
Workload CommonFronts(size_t count, bool asExpressions);
// Expressions whose states multiply.
Workload ManyStates(size_t count);
Workload CountedStates();
// Parameters whose last value counts, all of them on every line.
Workload LastValuesEverywhere(size_t count);
// Stack records, each of which is asked for.
Workload StackRecords(size_t count);

// A segment rule that takes a value from each line of MakeMatchingLog.
Workload EveryLineMatches();
std::string MakeMatchingLog(size_t lines);

// The rule files with `features` frame entries that hold the workload's rules, 50 in an entry, and never stop for want
// of a match.
std::string MatchRuleFile(const Workload& workload, const std::string& logPath, size_t features = 1);
std::string AssembleRuleFile(const Workload& workload, size_t features = 1);

// A rule file of `entries` frame entries with `rules` rules each.
std::string LargeRuleFile(size_t entries, size_t rules, const std::string& logPath);

// A rule file whose only entry has `count` members that nobody knows.
std::string UnknownMembersFile(size_t count);

// A trace of `lines` lines.
enum class TraceKind { kJava, kNative, kKernel };
std::string MakeTrace(TraceKind kind, size_t lines);

#endif  // BENCH_INPUTS_H
