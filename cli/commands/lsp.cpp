#include <android/log.h>

#include <memory>

#include "cli/commands/commands.h"
#include "cli/lsp/server.h"

namespace {

constexpr char kHelp[] =
    "An editor starts it and speaks the Language Server Protocol 3.17 with it on standard input and output.\n"
    "docs/editors.md shows how to set up an editor.\n"
    "\n"
    "Exit status: 0 the editor shut it down, 1 it went without.";

}  // namespace

void AddLsp(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("lsp", "Help an editor with rule files");
  const auto isStdio = std::make_shared<bool>(false);
  command->add_flag("--stdio", *isStdio, "Use standard input and output, as it does in any case; some editors say so");
  command->footer(kHelp);
  command->callback([isStdio, &status] {
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
    status = ServeLanguage() == 0 ? kSuccess : kNegative;
  });
}
