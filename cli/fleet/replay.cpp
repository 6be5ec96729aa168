#include "cli/fleet/replay.h"

#include <unistd.h>

#include <algorithm>
#include <deque>
#include <iostream>
#include <optional>
#include <set>
#include <stdexcept>
#include <thread>

#include "cli/library/input.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/library/own_program.h"
#include "cli/output/exit_status.h"
#include "cli/output/progress.h"
#include "cli/output/terminal.h"
#include "cli/rule_files/event_types.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

namespace {

Fields RequestOf(const LogRun& run) { return {run.log.path, run.log.event, run.log.error, run.log.as, run.config}; }

LogRun RunOf(const Fields& request) { return {{request[0], request[1], request[2], request[3]}, request[4]}; }

// What a worker's fields begin with.
const std::string kAnalyzed = "analyzed";
const std::string kUnreadable = "unreadable";

// The reason alone where it is the log's own: the log is named beside it.
Fields Answer(const Fields& request, const std::function<Fields(const LogRun& run)>& analyze) {
  const LogRun run = RunOf(request);
  try {
    Fields fields = analyze(run);
    fields.insert(fields.begin(), kAnalyzed);
    return fields;
  } catch (const InputError& error) {
    return {kUnreadable, error.file() == run.log.path ? error.reason() : error.what()};
  }
}

Reply Unpacked(Reply reply) {
  if (!reply.fault.empty()) return reply;
  if (reply.fields.front() == kUnreadable) return {{}, reply.fields.at(1)};
  reply.fields.erase(reply.fields.begin());
  return reply;
}

// The number of logs; none while a list of unknown length is among them.
std::optional<size_t> CountOf(const ReplayOptions& options) {
  if (options.logs.hasList()) return std::nullopt;
  LogList logs(options.logs);
  LogEntry log;
  size_t count = 0;
  while (logs.next(log) == LogList::Next::kEntry) ++count;
  return count;
}

// The event types of all rules. Throws InputError when there is none, or not the one that is asked for.
std::set<std::string> KnownEventTypes(const std::string& event, const std::vector<std::string>& configs) {
  std::set<std::string> known;
  for (const std::string& config : configs) known.merge(EventTypesOf(config));
  if (!event.empty() && known.count(event) == 0) throw InputError("--event", UnknownEventType(event, known));
  if (known.empty()) throw InputError(MatchRuleFile(configs.front()), "the rules know no event type");
  return known;
}

// A log and the event types that it is analysed under.
struct TriedLog {
  TriedLog(const LogEntry& entry, const std::set<std::string>& known) : log(entry), events({entry.event}) {
    if (!log.error.empty()) return;
    if (log.event.empty()) {
      events.assign(known.begin(), known.end());
    } else if (known.count(log.event) == 0) {
      log.error = UnknownEventType(log.event, known);
    }
  }

  LogEntry log;
  std::vector<std::string> events;
};

// A fault of the log itself is the same under all event types, and handed over once.
bool IsOneFault(const std::vector<Reply>& replies) {
  return std::all_of(replies.begin(), replies.end(), [&replies](const Reply& reply) {
    return !reply.fault.empty() && reply.fault == replies.front().fault;
  });
}

// `replies` has those under the first event type first.
void HandOver(const TriedLog& tried, const std::vector<Reply>& replies, const ReplayWork& work) {
  const size_t count = replies.size() / tried.events.size();
  const auto repliesAt = [&](size_t event) {
    const auto begin = replies.begin() + static_cast<ptrdiff_t>(event * count);
    return std::vector<Reply>(begin, begin + static_cast<ptrdiff_t>(count));
  };
  if (!tried.log.event.empty()) return work.sink(tried.log, replies);
  bool isHandedOver = false;
  for (size_t i = 0; i < tried.events.size() && !IsOneFault(replies); ++i) {
    const std::vector<Reply> ofEvent = repliesAt(i);
    const bool isFound = std::any_of(ofEvent.begin(), ofEvent.end(), [&work](const Reply& reply) {
      return !reply.fault.empty() || work.finds(reply.fields);
    });
    if (!isFound) continue;
    LogEntry log = tried.log;
    log.event = tried.events[i];
    work.sink(log, ofEvent);
    isHandedOver = true;
  }
  if (!isHandedOver) work.sink(tried.log, repliesAt(0));
}

// Why rules end the analysis of a log. `fault` has no place in them: to know it takes an observer, which makes an
// analysis slow, so that it is asked for here only, and in a process of its own.
std::string FaultWithPlace(const LogRun& run, bool checkPath, const std::string& fault) {
  std::vector<std::string> words = {"explain", "--key", kStackKey, "--config", run.config, "--event", run.log.event};
  if (!run.log.as.empty()) {
    words.insert(words.end(), {"--as", run.log.as});
  } else if (checkPath) {
    words.emplace_back("--check-path");
  }
  words.insert(words.end(), {"--", run.log.path});
  const ProgramRun explained = RunOwnProgram(words, "", [] { return false; });
  return explained.status == kBadInput ? FaultOf(explained) : fault;
}

// In a worker.
Fields AnalyzeOrReport(const LogRun& run, bool checkPath, const ReplayWork& work) {
  if (checkPath && run.log.as.empty() && run.log.error.empty()) CheckLogPlace(run.log.path);
  try {
    return work.analyze(run);
  } catch (const InputError&) {
    throw;
  } catch (const std::exception& error) {
    throw std::runtime_error(FaultWithPlace(run, checkPath, error.what()));
  }
}

void ReportRepeated(const LogList& logs) {
  const size_t count = logs.repeatedCount();
  if (count == 0) return;
  std::cerr << "kestrix: " << Counted(count, "log") << " came up again and " << (count == 1 ? "was" : "were")
            << " analysed again: " << LineForPeople(logs.firstRepeated()) << (count == 1 ? "\n" : ", ...\n");
}

}  // namespace

Fields AnalyzeToFields(const LogRun& run) {
  Fields fields;
  for (const auto& [key, value] : Analyze(run, nullptr)) {
    fields.push_back(key);
    fields.push_back(value);
  }
  return fields;
}

LogResult ResultOf(const Reply& reply) {
  LogResult result{{}, reply.fault};
  for (size_t i = 0; i + 1 < reply.fields.size(); i += 2) result.results[reply.fields[i]] = reply.fields[i + 1];
  return result;
}

void RunInWorkers(const WorkerOptions& options, const std::function<WorkerPool::Next(LogRun& run)>& source,
                  const std::function<Fields(const LogRun& run)>& analyze,
                  const std::function<void(const LogRun& run, const Reply& reply)>& sink,
                  const WorkerPool::Note& note) {
  const size_t count = options.jobs > 0 ? options.jobs : std::max(std::thread::hardware_concurrency(), 1U);
  if (options.verbose) {
    std::cerr << "kestrix: " << Counted(count, "worker") << "; each keeps up to " << kKeptRulesBytes / 1024 / 1024
              << " MiB of compiled rules from log to log\n";
  }
  WorkerPool pool(count, std::chrono::seconds(options.secondsPerLog),
                  [&analyze](const Fields& request) { return Answer(request, analyze); });
  LogRun run;
  pool.run(
      [&](Fields& request) {
        const WorkerPool::Next next = source(run);
        if (next == WorkerPool::Next::kRequest) request = RequestOf(run);
        return next;
      },
      [&](const Fields& request, const Reply& reply) { sink(RunOf(request), Unpacked(reply)); }, note);
}

void Replay(const ReplayOptions& options, const std::vector<std::string>& configs, const ReplayWork& work) {
  for (const std::string& config : configs) CheckRuleFiles(config);
  const std::set<std::string> known = KnownEventTypes(options.logs.event, configs);
  PrepareLibrary(options.checkPath);

  const bool sharesTerminal = isatty(STDOUT_FILENO) != 0;
  Progress progress([&options] { return CountOf(options); });
  LogList logs(options.logs);
  std::deque<TriedLog> tried;  // that are not done, the one whose runs are set last
  size_t next = 0;             // of the runs of that one
  size_t begun = 0;            // logs
  size_t runs = 0;             // of these, and those that are done, in their turn or not
  size_t runsDone = 0;
  const auto show = [&] { progress.show(begun * runsDone / runs); };
  const auto source = [&](LogRun& run) {
    if (tried.empty() || next == tried.back().events.size() * configs.size()) {
      LogEntry log;
      LogList::Next found = logs.next(log);
      while (found == LogList::Next::kEntry && work.isDone(log)) {
        progress.skip();
        found = logs.next(log);
      }
      if (found == LogList::Next::kWait) return WorkerPool::Next::kWait;
      if (found == LogList::Next::kEnd) return WorkerPool::Next::kEnd;
      tried.emplace_back(log, known);
      ++begun;
      next = 0;
    }
    ++runs;
    run = {tried.back().log, configs[next % configs.size()]};
    run.log.event = tried.back().events[next++ / configs.size()];
    return WorkerPool::Next::kRequest;
  };
  const auto analyze = [&](const LogRun& run) { return AnalyzeOrReport(run, options.checkPath, work); };
  std::vector<Reply> replies;
  const auto sink = [&](const LogRun& run, const Reply& reply) {
    replies.push_back(reply);
    if (reply.fault == kAnalysisAborted) replies.back().fault = FaultWithPlace(run, options.checkPath, reply.fault);
    if (replies.size() < tried.front().events.size() * configs.size()) return;
    const bool isFaulty =
        std::any_of(replies.begin(), replies.end(), [](const Reply& each) { return !each.fault.empty(); });
    if (isFaulty || sharesTerminal) progress.hide();  // faults may be reported on standard error
    HandOver(tried.front(), replies, work);
    show();
    replies.clear();
    tried.pop_front();
  };
  RunInWorkers(options.workers, source, analyze, sink, [&] {
    ++runsDone;
    show();
  });
  if (logs.count() == 0) throw InputError("standard input", "the list names no log");
  progress.hide();
  ReportRepeated(logs);
}
