#ifndef CLI_SUGGEST_STARTER_H
#define CLI_SUGGEST_STARTER_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "cli/suggest/rule_draft.h"

// Rules to begin with, for logs that no rules are there for.

struct StarterLog {
  std::string path;
  std::string eventType;  // empty: no line looks like the head of a crash or hang
  bool hasResult = false;
};

struct Starter {
  std::vector<Draft> drafts;
  std::vector<StarterLog> logs;
};

// Goes from log to log: where the rules so far give nothing, the first head of a crash or hang and its stack become one
// more. `onLog` is called after each. Throws InputError for a path that cannot be read.
Starter MakeStarter(const std::vector<std::string>& logs, const std::function<void()>& onLog);

#endif  // CLI_SUGGEST_STARTER_H
