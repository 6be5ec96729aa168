#ifndef ENTRY_COMPILED_RULES_H
#define ENTRY_COMPILED_RULES_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "analysis/run_observer.h"
#include "analysis/search_cache.h"
#include "rules/rule_file.h"

// The log of a call.
struct AnalyzedLog {
  // NOLINTNEXTLINE(google-explicit-constructor): most logs are no more than a path
  AnalyzedLog(std::string itsPath, std::string itsStandIn = "")
      : path(std::move(itsPath)), standIn(std::move(itsStandIn)) {}

  std::string path;

  // What is read in place of `path`. Path tests then hold under any property, `path` is the only one that exists for
  // them, and nothing is opened there. Mostly empty.
  std::string standIn;
};

// The rules of a directory, compiled: both files parsed, and the searches and expressions that are made from the texts
// of their rules. One object serves any number of logs, one after the other: none has a part in what the next is
// answered. Which rules a log gets is found out for each, as its path decides. Not exported from the shared library.
class CompiledRules {
 public:
  explicit CompiledRules(std::string configDir);

  // From now on keeps what is made for one log for the next, as long as that is at most `bytes`, about. Files that have
  // changed are read again with the next log.
  void keep(size_t bytes);

  // Kestrix::analysis itself; `observer`, which may be null, receives the decisions of all runs.
  std::map<std::string, std::string> analysis(const AnalyzedLog& log, const std::string& eventType,
                                              RunObserver* observer);

  // Bytes held, about.
  size_t memory() const;

 private:
  void read(const std::string& realDir);

  std::string configDir_;
  size_t kept_ = 0;
  std::unique_ptr<RuleDocument> match_;
  std::unique_ptr<RuleDocument> assemble_;
  SearchCache cache_;
};

#endif  // ENTRY_COMPILED_RULES_H
