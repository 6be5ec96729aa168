#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/replay.h"
#include "cli/output/json_text.h"
#include "cli/output/output_file.h"
#include "cli/output/utf8.h"

namespace {

struct Options {
  ReplayOptions replay;
  std::string configDir;
  bool timing = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix batch --config rules --event java_crash logs > results.ndjson\n"
    "\n"
    "Exit status: 0 every log was analysed, 1 a log has an \"error\", 2 wrong usage or rule files that cannot be read.";

// The results, and how long they took, as members of an object; made in the worker, since it takes time.
Fields AnalyzeToJson(const LogRun& run) {
  const auto begin = std::chrono::steady_clock::now();
  const TextMap results = Analyze(run, nullptr);
  const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
  Json::Value object(Json::objectValue);
  for (const auto& [key, value] : results) object[key] = value;
  char milliseconds[32];
  std::snprintf(milliseconds, sizeof milliseconds, "%.3f", time.count());
  return {JsonLine(object), milliseconds};
}

// Past std::cout: an interrupt leaves whole lines only, and a reader gets each as soon as it is there.
void WriteLine(const std::string& line) {
  if (WriteAll(STDOUT_FILENO, line + '\n')) return;
  throw std::system_error(errno, std::generic_category(), "standard output cannot be written");
}

std::string LineOf(const LogEntry& log, const Reply& reply, bool hasTiming) {
  std::string line = "{\"path\":" + JsonString(log.path);
  if (!IsUtf8(log.path)) line += ",\"encodedPath\":" + JsonString(PercentEncoded(log.path));
  line += ",\"event\":" + JsonString(log.event);
  if (!log.as.empty()) line += ",\"as\":" + JsonString(log.as);
  if (!reply.fault.empty()) return line + ",\"error\":" + JsonString(reply.fault) + "}";
  line += ",\"results\":" + reply.fields[0];
  if (hasTiming) line += ",\"ms\":" + reply.fields[1];
  return line + "}";
}

ExitStatus Run(const Options& options) {
  std::signal(SIGPIPE, SIG_DFL);  // a reader that has seen enough ends the run, whatever was inherited
  ExitStatus status = kSuccess;
  const auto finds = [](const Fields& fields) { return fields[0] != "{}"; };
  const auto print = [&](const LogEntry& log, const std::vector<Reply>& replies) {
    if (!replies.front().fault.empty()) status = kNegative;
    WriteLine(LineOf(log, replies.front(), options.timing));
  };
  Replay(options.replay, {options.configDir}, {AnalyzeToJson, finds, print});
  return status;
}

}  // namespace

void AddBatch(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("batch", "Analyse many logs and print a JSON object a line, in order");
  const auto options = std::make_shared<Options>();
  AddReplayOptions(*command, options->replay);
  AddConfigOption(*command, options->configDir);
  command->add_flag("--timing", options->timing, "Add \"ms\", the milliseconds that each log took");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
