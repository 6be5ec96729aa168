#ifndef BENCH_INPUTS_H
#define BENCH_INPUTS_H

#include <cstddef>
#include <string>
#include <vector>

#include "rules/rule_records.h"

// The inputs of all benchmarks: the same in every run, true in shape to what devices write.

// A log of `size` bytes or slightly less, as the device's log buffer gives it: mostly chatter, now and then a Java
// crash, a native crash or a kernel message.
std::string MakeLog(size_t size);

// One feature's rules for the benchmark of that name.
struct Workload {
  std::string name;
  std::list<FeatureRule> rules;
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
// A segment rule that takes a value from each line of MakeMatchingLog.
Workload EveryLineMatches();
std::string MakeMatchingLog(size_t lines);

// The rule file with one frame entry that holds the workload's rules and never stops for want of a match.
std::string MatchRuleFile(const Workload& workload, const std::string& logPath);
std::string AssembleRuleFile(const Workload& workload);

// A rule file of `entries` frame entries with `rules` rules each.
std::string LargeRuleFile(size_t entries, size_t rules, const std::string& logPath);

// A trace of `lines` lines.
enum class TraceKind { kJava, kNative, kKernel };
std::string MakeTrace(TraceKind kind, size_t lines);

#endif  // BENCH_INPUTS_H
