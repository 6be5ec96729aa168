#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/replay.h"
#include "cli/fleet/unfinished_output.h"
#include "cli/output/input_error.h"
#include "cli/output/json_text.h"
#include "cli/output/output_file.h"
#include "cli/output/utf8.h"

namespace {

struct Options {
  ReplayOptions replay;
  std::string configDir;
  std::string resume;  // empty: standard output
  bool timing = false;
};

constexpr char kExample[] =
    "Example:\n"
    "  kestrix batch --config rules --event java_crash logs > results.ndjson\n"
    "  kestrix batch --config rules --event java_crash logs --resume results.ndjson\n"
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

std::string PathMember(const LogEntry& log) { return "{\"path\":" + JsonString(log.path) + ","; }

// How the line of a log begins.
std::string HeadOf(const LogEntry& log) {
  std::string head = PathMember(log);
  if (!IsUtf8(log.path)) head += "\"encodedPath\":" + JsonString(PercentEncoded(log.path)) + ",";
  head += "\"event\":" + JsonString(log.event) + ",";
  return log.as.empty() ? head : head + "\"as\":" + JsonString(log.as) + ",";
}

std::string LineOf(const LogEntry& log, const Reply& reply, bool hasTiming) {
  if (!reply.fault.empty()) return HeadOf(log) + "\"error\":" + JsonString(reply.fault) + "}\n";
  const std::string ms = hasTiming ? ",\"ms\":" + reply.fields[1] : "";
  return HeadOf(log) + "\"results\":" + reply.fields[0] + ms + "}\n";
}

ExitStatus Run(const Options& options) {
  std::signal(SIGPIPE, SIG_DFL);  // a reader that has seen enough ends the run, whatever was inherited
  if (options.resume == "-") throw InputError("--resume", "takes a file, since it goes on at the end of it");
  std::optional<UnfinishedOutput> before;
  if (!options.resume.empty()) before.emplace(options.resume);
  const int file = before ? before->file() : STDOUT_FILENO;
  bool hasErrors = false;
  const auto finds = [](const Fields& fields) { return fields[0] != "{}"; };
  const auto print = [&](const LogEntry& log, const std::vector<Reply>& replies) {
    hasErrors = hasErrors || !replies.front().fault.empty();
    // Past std::cout: an interrupt leaves whole lines only, and a reader gets each as soon as it is there.
    if (WriteAll(file, LineOf(log, replies.front(), options.timing))) return;
    const std::string name = before ? options.resume : "standard output";
    throw std::system_error(errno, std::generic_category(), name + " cannot be written");
  };
  const auto isDone = [&before](const LogEntry& log) {
    return before && (log.event.empty() ? before->takeAll(PathMember(log)) : before->take(HeadOf(log)));
  };
  Replay(options.replay, {options.configDir}, {AnalyzeToJson, finds, print, isDone});
  if (before) before->finish();
  return hasErrors || (before && before->hasErrors()) ? kNegative : kSuccess;
}

}  // namespace

void AddBatch(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("batch", "Analyse many logs and print a JSON object a line, in order");
  const auto options = std::make_shared<Options>();
  AddReplayOptions(*command, options->replay);
  AddConfigOption(*command, options->configDir);
  command
      ->add_option("--resume", options->resume,
                   "Write to this file, and where an earlier run left it unfinished, go on at its end")
      ->type_name("OUT");
  command->add_flag("--timing", options->timing, "Add \"ms\", the milliseconds that each log took");
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
