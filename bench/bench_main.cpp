// Measures the library on inputs that are the same in every run, and prints ratios: to reading the log and walking its
// lines, to the plain form of the same work, or to the smaller of two inputs.

#include <android-base/properties.h>
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json/json.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <regex>

#include "analysis/analysis.h"
#include "bench/inputs.h"
#include "bench/ratio_table.h"
#include "entry/compiled_rules.h"
#include "entry/kestrix.h"
#include "regex/expression.h"
#include "rules/rule.h"
#include "stack/stack_util.h"
#include "tests/support/plain_engine.h"
#include "tests/support/temp_dir.h"
#include "util/file_util.h"

namespace {

constexpr size_t kLogSize = 32 * 1024 * 1024;  // bytes: the largest log that the library reads
constexpr size_t kWorstSize = 8 * 1024 * 1024;
constexpr size_t kPlainLogSize = 1024 * 1024;  // for comparison with the plain form, which is slow

// A log and the directory of rules for it.
struct Case {
  std::string log;
  std::string rules;
};

// Owns all inputs for the length of the run.
class Inputs {
 public:
  std::string path(const std::string& name) const { return dir_.path(name); }
  std::string write(const std::string& name, const std::string& content) { return dir_.write(name, content); }

  // A log of that size with the workload's hits near its beginning.
  Case make(const Workload& workload, size_t size, size_t features = 1) {
    const std::string number = std::to_string(++count_);
    Case made{dir_.write("log " + number, MakeLog(size, workload.hits, workload.front)), dir_.path("rules " + number)};
    std::filesystem::create_directory(made.rules);
    std::ofstream(made.rules + "/match_rule.json") << MatchRuleFile(workload, made.log, features);
    std::ofstream(made.rules + "/assemble_rule.json") << AssembleRuleFile(workload, features);
    return made;
  }

 private:
  TempDir dir_;
  size_t count_ = 0;
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

void ParseJson(const std::string& path) {
  std::ifstream file(path);
  Json::Value root;
  benchmark::DoNotOptimize(Json::Reader(Json::Features::strictMode()).parse(file, root, true));
}

// What no call can do without.
void Floor(const Case& input) {
  ParseJson(input.rules + "/match_rule.json");
  ParseJson(input.rules + "/assemble_rule.json");
  Walk(input.log);
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

class Table {
 public:
  explicit Table(Inputs& inputs) : inputs_(inputs) {}

  // The sizes that logs have, against the floor of a call.
  void addSizes() {
    const struct {
      const char* name;
      size_t size;
      double target;
    } kSizes[] = {
        {"empty", 0, 2.5}, {"2 KB", 2000, 0}, {"20 KB", 20000, 4}, {"200 KB", 200000, 6}, {"2 MB", 2000000, 6}};
    for (const auto& [name, size, target] : kSizes) {
      for (const Workload& workload :
           {OneKeyword(), Keywords(50), RegexesWithText(10), Keywords(100), RegexesWithText(100)}) {
        const Case input = inputs_.make(workload, size);
        const std::string subject = std::string(name) + ", " + workload.name;
        Register(subject, [input] { Kestrix::analysis(input.log, input.rules, "bench"); });
        Register("floor " + subject, [input] { Floor(input); });
        ratios.push_back({subject + " / floor", subject, "floor " + subject, target});
      }
    }
  }

  void addLargest() {
    const std::pair<Workload, double> kRows[] = {
        {OneKeyword(), 0.8},      {Keywords(50), 2.4},     {RegexesWithText(10), 2.2}, {RegexesWithoutText(), 2.2},
        {KeywordEverywhere(), 3}, {RegexesWithText(1), 0}, {RegexesWithText(100), 0},  {Keywords(100), 0}};
    for (const auto& [workload, target] : kRows) addScan("32 MiB, " + workload.name, workload, kLogSize, target);
    for (const Workload& workload : {RegexesWithText(100), Keywords(100)}) {
      const std::string one = workload.name == Keywords(100).name ? OneKeyword().name : RegexesWithText(1).name;
      const double target = workload.name == Keywords(100).name ? 0 : 1.4;
      ratios.push_back({"32 MiB, " + workload.name + " / 1", "32 MiB, " + workload.name, "32 MiB, " + one, target});
    }
  }

  void addWorst() {
    const std::pair<Workload, double> kRows[] = {
        {AndEveryLine(RegexesWithText(98)), 10}, {OpenVariables(48, 40), 10},    {UnmetDependencies(98), 10},
        {CommonFronts(100, true), 10},           {CommonFronts(100, false), 10}, {ManyStates(100), 25},
        {LastValuesEverywhere(20), 25},          {StackRecords(1000), 25},       {CountedStates(), 25}};
    for (const auto& [workload, target] : kRows) addScan("8 MiB, " + workload.name, workload, kWorstSize, target);
    addScan("8 MiB, 100 features with 1 keyword rule", OneKeyword(), kWorstSize, 25, 100);
  }

  // The rules kept from log to log, against reading them for each. scripts/bench runs in the root of the project.
  void addWarm() {
    for (const std::string type : {"java_crash", "native_crash", "kernel_panic", "app_not_responding"}) {
      addWarm("example, " + type, {"examples/logs/" + type + ".txt", "examples/rules"}, type, 4);
    }
    addWarm("2 KB, 10 features with 100 keyword rules", inputs_.make(Keywords(100), 2000, 10), "bench", 3);
  }

  // Whole commands, each as long as its process runs.
  void addCommands() {
    const std::string logs = inputs_.path("logs");
    std::filesystem::create_directory(logs);
    for (size_t i = 0; i < 300; ++i) {
      std::filesystem::copy_file("examples/logs/java_crash.txt", logs + "/" + std::to_string(i));
    }
    addCoverage("300 example logs", logs, "examples/rules", "java_crash");
    for (const Workload& workload : {OneKeyword(), Keywords(50), RegexesWithText(10)}) {
      const Case input = inputs_.make(workload, 200000);
      addCoverage("100 logs of 200 KB, " + workload.name, copies(input.log, 100), input.rules, "bench");
    }
    const size_t entries[] = {50, 200, 400};
    for (const size_t count : entries) addCheck(count, " entries of 100 rules", LargeRuleFile(count, 100, "/data"));
    addGrowth("check, 200 entries of 100 rules", "check, 50 entries of 100 rules", 5);
    addGrowth("check, 400 entries of 100 rules", "check, 200 entries of 100 rules", 2.5);
    for (const size_t count : {20000U, 40000U}) addCheck(count, " unknown members", UnknownMembersFile(count));
    addGrowth("check, 40000 unknown members", "check, 20000 unknown members", 2.5);
  }

  std::vector<Ratio> ratios;

 private:
  // Ends in an error when a rule never fired, or a finding is one.
  static void runProgram(const std::string& arguments) {
    // Both are built in one folder.
    static const std::filesystem::path build = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::string program = (build.parent_path() / "bin/kestrix").string();
    const int status = std::system(("'" + program + "' " + arguments + " >/dev/null 2>&1").c_str());
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) abort();
  }

  // A folder with so many copies of a log.
  static std::string copies(const std::string& log, size_t count) {
    const std::string dir = log + " copies";
    std::filesystem::create_directory(dir);
    for (size_t i = 0; i < count; ++i) std::filesystem::copy_file(log, dir + "/" + std::to_string(i));
    return dir;
  }

  void addCoverage(const std::string& name, const std::string& logs, const std::string& rules,
                   const std::string& type) {
    for (const std::string command : {"batch", "coverage"}) {
      const std::string arguments = command + " -j1 '" + logs + "' --config '" + rules + "' --event " + type;
      Register(command + " " + name, [arguments] { runProgram(arguments); });
    }
    ratios.push_back({"coverage / batch, " + name, "coverage " + name, "batch " + name, 3});
  }

  void addCheck(size_t count, const std::string& what, const std::string& matchFile) {
    const std::string name = "check, " + std::to_string(count) + what;
    const std::string dir = inputs_.path(name);
    std::filesystem::create_directory(dir);
    std::ofstream(dir + "/match_rule.json") << matchFile;
    std::ofstream(dir + "/assemble_rule.json") << "{}";
    Register(name, [dir] { runProgram("check '" + dir + "'"); });
  }

  void addGrowth(const std::string& larger, const std::string& smaller, double target) {
    ratios.push_back({larger + " / " + smaller.substr(sizeof("check, ") - 1), larger, smaller, target});
  }

  void addWarm(const std::string& name, const Case& input, const std::string& type, double target) {
    const auto warm = std::make_shared<CompiledRules>(input.rules);
    warm->keep(64 << 20);
    Register("cold " + name, [input, type] { Kestrix::analysis(input.log, input.rules, type); });
    Register("warm " + name, [input, type, warm] { warm->analysis(input.log, type, nullptr); });
    ratios.push_back({"rules read afresh / kept, " + name, "cold " + name, "warm " + name, target, true});
  }

  void addScan(const std::string& name, const Workload& workload, size_t size, double target, size_t features = 1) {
    const Case input = inputs_.make(workload, size, features);
    Register(name, [input] { Kestrix::analysis(input.log, input.rules, "bench"); });
    Register("walk " + name, [input] { Walk(input.log); });
    ratios.push_back({name + " / walk", name, "walk " + name, target});
  }

  Inputs& inputs_;
};

void AddPlainForm(const std::string& log, std::vector<Ratio>& ratios) {
  for (const Workload& workload :
       {OneKeyword(), Keywords(50), RegexesWithText(10), RegexesWithoutText(), KeywordEverywhere()}) {
    if (FastRecords(workload, log) != PlainRecords(workload, log)) {
      fprintf(stderr, "the scan and the plain form differ on %s\n", workload.name.c_str());
      exit(1);
    }
    Register("plain " + workload.name, [workload, &log] { PlainRecords(workload, log); });
    Register("scan " + workload.name, [workload, &log] { FastRecords(workload, log); });
    ratios.push_back({"plain form / scan, " + workload.name, "plain " + workload.name, "scan " + workload.name, 0});
  }
}

// Values that hardly any line has, looked for in each line of a log: without and with the automaton that Expression
// puts in front of the search.
void AddRareValues(const std::string& log, std::vector<Ratio>& ratios) {
  const std::pair<const char*, const char*> kValues[] = {
      {"text in front", "failed q(\\d+)"}, {"text behind", "(\\w+) failed q\\d"}, {"no text", "(\\d+)[G-Z][0-9][G-Z]"}};
  const auto forEachLine = [&log](auto& expression) {
    Regex::Match match;
    for (size_t pos = 0; pos < log.size(); pos = log.find('\n', pos) + 1) {
      benchmark::DoNotOptimize(expression.search(std::string_view(log).substr(pos, log.find('\n', pos) - pos), match));
    }
  };
  for (const auto& [name, value] : kValues) {
    const std::string what = std::string("rare value, ") + name;
    const auto plain = std::make_shared<Regex>(value);
    const auto filtered = std::make_shared<Expression>(value);
    Register(what + ", search", [forEachLine, plain] { forEachLine(*plain); });
    Register(what + ", automaton", [forEachLine, filtered] { forEachLine(*filtered); });
    ratios.push_back({what + ": search / automaton in front", what + ", search", what + ", automaton", 0});
  }
}

void AddParts(Inputs& inputs, std::vector<Ratio>& ratios) {
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
  const std::string largeDir = inputs.path("large");
  std::filesystem::create_directory(largeDir);
  const std::string log = inputs.write("log.txt", MakeLog(1000));
  std::ofstream(largeDir + "/match_rule.json") << LargeRuleFile(50, 100, log);
  Register("parse rules", [largeDir] { ParseJson(largeDir + "/match_rule.json"); });
  Register("load rules", [log, largeDir] {
    Rule rule(log, largeDir, "bench");
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
int ShowPeak(const char* log, const char* dir, const char* type) {
  const long before = PeakKiB();
  Kestrix::analysis(log, dir, type);
  printf("%ld\n", PeakKiB() - before);
  return 0;
}

void ReportPeaks(const char* program, Inputs& inputs) {
  printf("\n| peak memory of one analysis of 32 MiB | above an idle process (MiB) | target |\n| --- | ---: | --- |\n");
  for (const Workload& workload : {OneKeyword(), Keywords(50), RegexesWithText(10), RegexesWithoutText(),
                                   KeywordEverywhere(), RegexesWithText(100), Keywords(100)}) {
    const Case input = inputs.make(workload, kLogSize);
    fflush(stdout);
    std::ostringstream command;
    command << "'" << program << "' --peak '" << input.log << "' '" << input.rules << "' bench";
    FILE* child = popen(command.str().c_str(), "r");
    long peak = 0;
    if (child == nullptr || fscanf(child, "%ld", &peak) != 1) exit(1);
    pclose(child);
    std::filesystem::remove(input.log);
    printf("| %s | %.1f | at most 8 |\n", workload.name.c_str(), static_cast<double>(peak) / 1024);
  }
}

// Writes a log and the rules of four workloads for other programs: DIR/log.txt, DIR/1 to DIR/4.
int WriteInputs(const std::string& dir) {
  std::vector<std::string> hits;
  int number = 0;
  for (const Workload& workload : {OneKeyword(), Keywords(50), RegexesWithText(10), RegexesWithoutText()}) {
    hits.insert(hits.end(), workload.hits.begin(), workload.hits.end());
    const std::string rules = dir + "/" + std::to_string(++number);
    std::filesystem::create_directory(rules);
    std::ofstream(rules + "/match_rule.json") << MatchRuleFile(workload, dir + "/log.txt");
    std::ofstream(rules + "/assemble_rule.json") << AssembleRuleFile(workload);
  }
  std::ofstream(dir + "/log.txt") << MakeLog(kLogSize, hits);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
  android::base::SetProperty("persist.sys.Kestrix.debug", "true");
  if (argc == 5 && strcmp(argv[1], "--peak") == 0) return ShowPeak(argv[2], argv[3], argv[4]);
  if (argc == 3 && strcmp(argv[1], "--write") == 0) return WriteInputs(argv[2]);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  Inputs inputs;
  const std::string plainLog = MakeLog(kPlainLogSize);
  Table table(inputs);
  table.addSizes();
  table.addLargest();
  table.addWorst();
  table.addWarm();
  table.addCommands();
  AddPlainForm(plainLog, table.ratios);
  AddRareValues(plainLog, table.ratios);
  AddParts(inputs, table.ratios);
  RatioTable report(std::move(table.ratios));
  benchmark::RunSpecifiedBenchmarks(&report);
  ReportPeaks(argv[0], inputs);
}
