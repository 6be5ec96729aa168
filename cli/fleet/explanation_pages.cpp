#include "cli/fleet/explanation_pages.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <system_error>

#include "cli/explain/make_story.h"
#include "cli/explain/page_story.h"
#include "cli/library/library_call.h"
#include "cli/library/log_file.h"
#include "cli/output/input_error.h"
#include "cli/output/output_file.h"
#include "cli/output/progress.h"
#include "cli/output/terminal.h"
#include "util/sha256_util.h"

namespace {

constexpr size_t kHashSize = 12;  // characters of a name that tell logs of one name apart

// One name for one run, so that a later report finds its pages again.
std::string NameOf(const LogRun& run) {
  const std::string identity = run.log.path + '\n' + run.log.event + '\n' + run.config;
  std::array<char, 65> hash{};
  Sha256Util::CalcBufferSha(identity, identity.size(), hash.data(), hash.size());
  return std::filesystem::path(run.log.path).filename().string() + "-" + std::string(hash.data(), kHashSize) + ".html";
}

Fields WritePage(const LogRun& run, const ExplanationOptions& options) {
  const LogFile file(run.log.path);
  const Story story = MakeStory({.logName = run.log.path,
                                 .configDir = run.config,
                                 .eventType = run.log.event,
                                 .hasPathTests = options.checkPath,
                                 .as = run.log.as,
                                 .logFile = file.path(),
                                 .verdicts = kMaxPageVerdicts});
  std::ostringstream page;
  PrintStoryAsPage(story, page);
  WriteWholeFile(options.folder + "/" + NameOf(run), page.str());
  return {};
}

}  // namespace

std::vector<std::string> WriteExplanations(const std::vector<LogRun>& runs, const ExplanationOptions& options) {
  namespace fs = std::filesystem;
  PrepareLibrary(options.checkPath);
  std::error_code error;
  fs::create_directories(options.folder, error);
  if (error) throw InputError(options.folder, error.message());
  const fs::path relative = fs::absolute(options.folder).lexically_relative(fs::absolute(options.report).parent_path());
  std::vector<std::string> links;
  std::string fault;
  size_t next = 0;
  Progress progress([&runs] { return runs.size(); });
  RunInWorkers(
      options.workers,
      [&](LogRun& run) {
        if (next == runs.size()) return WorkerPool::Next::kEnd;
        run = runs[next++];
        return WorkerPool::Next::kRequest;
      },
      [&options](const LogRun& run) { return WritePage(run, options); },
      [&](const LogRun& run, const Reply& reply) {
        links.push_back(reply.fault.empty() ? (relative / NameOf(run)).string() : "");
        if (!reply.fault.empty() && fault.empty()) fault = run.log.path + ": " + reply.fault;
      },
      [&progress] { progress.step(); });
  progress.hide();
  if (!fault.empty()) {
    std::cerr << "kestrix: " << std::count(links.begin(), links.end(), "") << " of "
              << Counted(links.size(), "explanation") << " could not be made, such as that of " << LineForPeople(fault)
              << '\n';
  }
  return links;
}

void CheckExplanations(const ExplanationOptions& options, const std::string& format) {
  if (options.folder.empty() || (format == "html" && !options.report.empty())) return;
  throw InputError("--explain", "goes with --format html and -o FILE, for a page that links to the explanations");
}
