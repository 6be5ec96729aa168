#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/library/input.h"
#include "cli/library/own_program.h"
#include "cli/live/file_watch.h"
#include "cli/live/live_desk.h"
#include "cli/live/live_server.h"
#include "rules/rule_syntax.h"

namespace {

struct Options {
  LiveInput input;
  std::string editor;
  int port = 0;
  bool opens = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix live crash.txt --config rules --open\n"
    "\n"
    "The page is for this machine alone: it is served at 127.0.0.1, and its address holds a secret. Ctrl-C ends it.\n"
    "\n"
    "Exit status: 0 it was ended, 2 wrong usage or input that cannot be read.";

// The signals that end the desk; blocked, so that one thread waits for them.
sigset_t BlockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  return signals;
}

std::vector<std::string> WatchedFiles(const LiveInput& input) {
  std::vector<std::string> files = input.logs;
  files.push_back(MatchRuleFile(input.configDir));
  files.push_back(AssembleRuleFile(input.configDir));
  return files;
}

// Rule files that are broken are no reason not to begin: the page shows what is wrong.
void CheckInput(const LiveInput& input) {
  for (const std::string& log : input.logs) CheckedLogPath(log);
  CheckReadableFile(MatchRuleFile(input.configDir));
  CheckReadableFile(AssembleRuleFile(input.configDir));
}

ExitStatus Run(Options options) {
  std::string& configDir = options.input.configDir;
  while (configDir.size() > 1 && configDir.ends_with('/')) configDir.pop_back();
  CheckInput(options.input);
  FileWatch watch(WatchedFiles(options.input));
  LiveDesk desk(options.input);
  LiveServer server(desk, options.editor);
  server.bind(options.port);
  const sigset_t signals = BlockEndSignals();
  const int stopFd = eventfd(0, EFD_CLOEXEC);
  std::thread serving([&server] { server.run(); });
  std::thread watching([&] {
    while (watch.wait(stopFd)) desk.noteSave();
  });
  std::cout << server.address() << std::endl;
  if (options.opens && !StartProgram({"xdg-open", server.address()})) {
    std::cerr << "kestrix: there is no xdg-open to open a browser with\n";
  }
  int signal = 0;
  sigwait(&signals, &signal);
  desk.stop();
  server.stop();
  eventfd_write(stopFd, 1);
  watching.join();
  serving.join();
  close(stopFd);
  return kSuccess;
}

}  // namespace

void AddLive(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("live", "Show in a browser what each save of the rules changes in logs");
  const auto options = std::make_shared<Options>();
  command->add_option("LOG", options->input.logs, "The log files, each of at most " + MaxLogSizeText())
      ->type_name("")
      ->required();
  AddConfigOption(*command, options->input.configDir);
  AddEventOption(*command, options->input.event,
                 "Event type whose rules apply; by default, for each log, that which finds most in it");
  command->add_option("--port", options->port, "Port of the page, by default any that is free")
      ->type_name("N")
      ->check(CLI::Range(1, 65535).description(""));
  command
      ->add_option("--editor", options->editor,
                   "Command that opens a place in a rule file, such as \"code -g {file}:{line}\"; by default the page "
                   "links to vscode://")
      ->type_name("CMD");
  command->add_flag("--open", options->opens, "Open the page in the browser");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
