// Measures the library on inputs that are the same in every run, and prints ratios: to reading the log and walking its
// lines, to the plain form of the same work, or to the smaller of two inputs.

#include <android-base/properties.h>
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json/json.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>

#include "analysis/analysis.h"
#include "bench/inputs.h"
#include "bench/ratio_table.h"
#include "entry/kestrix.h"
#include "rules/rule.h"
#include "stack/stack_util.h"
#include "tests/support/plain_engine.h"
#include "tests/support/temp_dir.h"
#include "util/file_util.h"

namespace {

constexpr size_t kLogSize = 32 * 1024 * 1024;  // bytes: the largest log that the library reads
constexpr size_t kPlainLogSize = 1024 * 1024;  // for comparison with the plain form, which is slow

// Owns all inputs for the length of the run.
struct Inputs {
  TempDir dir;
  std::string logPath = dir.write("log.txt", MakeLog(kLogSize));
  std::string plainLog = MakeLog(kPlainLogSize);
  std::string largeRules = dir.write("large_rules.json", LargeRuleFile(50, 100, logPath));
  std::vector<Workload> workloads = {OneKeyword(),         Keywords(50),        RegexesWithText(10),
                                     RegexesWithoutText(), KeywordEverywhere(), RegexesWithText(1),
                                     RegexesWithText(200), Keywords(200)};

  std::string rulesDir(const Workload& workload) const {
    const std::string path = dir.path("rules " + std::to_string(&workload - workloads.data()));
    std::filesystem::create_directory(path);
    std::ofstream(path + "/match_rule.json") << MatchRuleFile(workload, logPath);
    std::ofstream(path + "/assemble_rule.json") << AssembleRuleFile(workload);
    return path;
  }
};

template <typename Function>
void Register(const std::string& name, Function work) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [work](benchmark::State& state) {
                                 for (auto _ : state) work();
                               })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

// What no analysis can do without, in the plainest way.
void Walk(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY);
  std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
  if (lseek(fd, 0, SEEK_SET) != 0 || read(fd, text.data(), text.size()) < 0) abort();
  close(fd);
  size_t lines = 0;
  for (const char *pos = text.data(), *end = pos + text.size(); pos < end; ++lines) {
    const void* lineFeed = memchr(pos, '\n', static_cast<size_t>(end - pos));
    pos = lineFeed == nullptr ? end : static_cast<const char*>(lineFeed) + 1;
  }
  benchmark::DoNotOptimize(lines);
}

FeatureFrame FrameOf(const Workload& workload) {
  FeatureFrame frame;
  frame.skip = 1 << 30;
  frame.rules = workload.rules;
  return frame;
}

size_t FastRecords(const Workload& workload, const std::string& log) {
  FeatureFrame frame = FrameOf(workload);
  std::stringstream content(log);
  Analysis engine(0, "bench", &frame, {});
  engine.rawInfoPosition(content);
  return engine.getRecords().size();
}

size_t PlainRecords(const Workload& workload, const std::string& log) {
  FeatureFrame frame = FrameOf(workload);
  std::stringstream content(log);
  PlainEngine engine(frame);
  engine.scan(content);
  return engine.records().size();
}

// The name of a frame by expressions that are compiled for each line: first whether it is one, then which.
std::string PlainStackName(const std::string& line) {
  for (const char* shape : {"^\\s+at (.*)\\(.*", "^\\s*at .*", "^\\s+- (.*)\\(.*", "\\s+#\\d+",
                            "[0-9a-zA-Z_.]+\\+0x[0-9a-f]+/0x[0-9a-f]+", "#\\d+", "\\.*"}) {
    if (std::regex_search(line, std::regex(shape))) break;
  }
  std::string name = line;
  for (const char* shape : {"^\\s+at (.*)\\).*", "^\\s*at (.*)", "#\\d+ pc [0-9a-f]+ (.*\\+\\d+)\\)",
                            "#\\d+ pc [0-9a-f]+ (.*)", "([0-9a-zA-Z_.]+\\+0x[0-9a-f]+/0x[0-9a-f]+)"}) {
    std::smatch found;
    if (!std::regex_search(line, found, std::regex(shape))) continue;
    name = found.str(1);
    break;
  }
  return std::regex_replace(name, std::regex("(.+?)-(.+)==(.+)"), "$1$3");
}

void RegisterAll(const Inputs& inputs, std::vector<Ratio>& ratios) {
  Register("walk", [&inputs] { Walk(inputs.logPath); });
  const double kTargets[] = {1.6, 3, 3, 3, 3, 0, 0, 0};
  for (size_t i = 0; i < inputs.workloads.size(); ++i) {
    const Workload& workload = inputs.workloads[i];
    const std::string dir = inputs.rulesDir(workload);
    Register("analysis " + workload.name, [&inputs, dir] { Kestrix::analysis(inputs.logPath, dir, "bench"); });
    ratios.push_back({"analysis, " + workload.name + " / walk", "analysis " + workload.name, "walk", kTargets[i]});
  }
  ratios.push_back({"analysis, 200 \"@R@\" rules / 1", "analysis " + inputs.workloads[6].name,
                    "analysis " + inputs.workloads[5].name, 1.3});
  for (size_t i = 0; i < 5; ++i) {
    const Workload& workload = inputs.workloads[i];
    if (FastRecords(workload, inputs.plainLog) != PlainRecords(workload, inputs.plainLog)) {
      fprintf(stderr, "the scan and the plain form differ on %s\n", workload.name.c_str());
      exit(1);
    }
    Register("plain " + workload.name, [&] { PlainRecords(workload, inputs.plainLog); });
    Register("scan " + workload.name, [&] { FastRecords(workload, inputs.plainLog); });
    ratios.push_back({"plain form / scan, " + workload.name, "plain " + workload.name, "scan " + workload.name, 0});
  }
  for (const size_t lines : {150000u, 300000u}) {
    Register("matching " + std::to_string(lines),
             [log = MakeMatchingLog(lines)] { FastRecords(EveryLineMatches(), log); });
  }
  ratios.push_back({"300,000 matching lines / 150,000", "matching 300000", "matching 150000", 2.2});
  const std::pair<const char*, TraceKind> kTraces[] = {
      {"Java", TraceKind::kJava}, {"native", TraceKind::kNative}, {"kernel", TraceKind::kKernel}};
  for (const auto& [name, kind] : kTraces) {
    const std::string trace = MakeTrace(kind, 200);
    Register(std::string("filter ") + name, [trace] {
      std::map<std::string, std::string> result = {{"STACK", trace}};
      Kestrix::filtStack(result);
    });
    Register(std::string("plain filter ") + name, [trace] {
      std::istringstream lines(trace);
      for (std::string line; std::getline(lines, line);) benchmark::DoNotOptimize(PlainStackName(line));
    });
    ratios.push_back({std::string("expressions per line / stack filter, 200 ") + name + " lines",
                      std::string("plain filter ") + name, std::string("filter ") + name, 100, true});
  }
  Register("parse rules", [&inputs] {
    std::ifstream file(inputs.largeRules);
    Json::Value root;
    benchmark::DoNotOptimize(Json::Reader(Json::Features::strictMode()).parse(file, root, true));
  });
  const std::string largeDir = inputs.dir.path("large");
  std::filesystem::create_directory(largeDir);
  std::filesystem::copy(inputs.largeRules, largeDir + "/match_rule.json");
  Register("load rules", [&inputs, largeDir] {
    Rule rule(inputs.logPath, largeDir, "bench");
    rule.parseRule();
  });
  ratios.push_back({"loading 50 x 100 rules / parsing the JSON", "load rules", "parse rules", 3});
}

long PeakKiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// A process of its own, as the peak of this one holds its inputs too.
int ShowPeak(const char* log, const char* dir) {
  const long before = PeakKiB();
  Kestrix::analysis(log, dir, "bench");
  printf("%ld\n", PeakKiB() - before);
  return 0;
}

void ReportPeaks(const char* program, const Inputs& inputs) {
  const double logMiB = static_cast<double>(std::filesystem::file_size(inputs.logPath)) / (1 << 20);
  printf("\n| peak memory of one analysis | above the log's size (MiB) | target |\n| --- | ---: | --- |\n");
  for (const Workload& workload : inputs.workloads) {
    fflush(stdout);
    std::ostringstream command;
    command << "'" << program << "' --peak '" << inputs.logPath << "' '" << inputs.rulesDir(workload) << "'";
    FILE* child = popen(command.str().c_str(), "r");
    long peak = 0;
    if (child == nullptr || fscanf(child, "%ld", &peak) != 1) exit(1);
    pclose(child);
    printf("| %s | %.1f | at most 8 |\n", workload.name.c_str(), static_cast<double>(peak) / 1024 - logMiB);
  }
}

// Writes the log and the rules of the first four workloads for other programs: DIR/log.txt, DIR/1 to DIR/4.
int WriteInputs(const std::string& dir) {
  const Inputs inputs;
  for (size_t i = 0; i < 4; ++i) {
    std::filesystem::copy(inputs.rulesDir(inputs.workloads[i]), dir + "/" + std::to_string(i + 1));
  }
  std::filesystem::copy(inputs.logPath, dir + "/log.txt");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  if (argc == 4 && strcmp(argv[1], "--peak") == 0) return ShowPeak(argv[2], argv[3]);
  if (argc == 3 && strcmp(argv[1], "--write") == 0) return WriteInputs(argv[2]);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const Inputs inputs;
  printf("log       %ju bytes, %zu lines\n", static_cast<uintmax_t>(std::filesystem::file_size(inputs.logPath)),
         static_cast<size_t>([&] {
           std::ifstream file(inputs.logPath);
           return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
         }()));
  std::vector<Ratio> ratios;
  RegisterAll(inputs, ratios);
  RatioTable table(std::move(ratios));
  benchmark::RunSpecifiedBenchmarks(&table);
  ReportPeaks(argv[0], inputs);
}
