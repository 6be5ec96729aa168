#ifndef CLI_LSP_DIAGNOSTICS_H
#define CLI_LSP_DIAGNOSTICS_H

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/check/findings.h"
#include "cli/fleet/worker_pool.h"
#include "cli/lsp/project.h"

// The findings of `check` on texts that are being edited. The checks run in a worker: an expression that ends its
// process costs the findings of the moment, not the server.

struct Problem {
  FileKind file;
  std::string code;
  bool isError;
  Span span;
  std::string message;
  std::optional<Fix> fix;
};

class Checker {
 public:
  Checker();

  // Of the project's present texts. A fault of the checks themselves is a problem too.
  std::vector<Problem> check(Project& project);

 private:
  WorkerPool pool_;
};

// As the protocol wants them, with codes linked to their description.
Json::Value DiagnosticOf(Project& project, const Problem& problem);
Json::Value DiagnosticsOf(Project& project, FileKind file, const std::vector<Problem>& problems);

// Code actions for the problems that touch the range: cures where they are known, and allowances of warnings.
Json::Value ActionsOf(Project& project, FileKind file, Span range, const std::vector<Problem>& problems);

#endif  // CLI_LSP_DIAGNOSTICS_H
