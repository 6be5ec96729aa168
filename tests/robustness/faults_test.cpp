// Rule files that are not to be trusted, and a system that fails.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "analysis/analysis.h"
#include "entry/kestrix.h"
#include "rules/rule.h"
#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"
#include "tests/support/run_notes.h"
#include "tests/support/temp_dir.h"
#include "util/byte_source.h"
#include "util/file_util.h"
#include "util/limits.h"
#include "util/sha256_util.h"

namespace {

std::string Nested(size_t levels, const std::string& inner) {
  return std::string(levels, '[') + inner + std::string(levels, ']');
}

size_t OpenDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

// Sets a limit of this process for as long as the object lives.
class Limit {
 public:
  Limit(decltype(RLIMIT_NOFILE) resource, rlim_t value) : resource_(resource) {
    getrlimit(resource_, &before_);
    const rlimit changed = {value, before_.rlim_max};
    setrlimit(resource_, &changed);
  }
  ~Limit() { setrlimit(resource_, &before_); }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;

 private:
  decltype(RLIMIT_NOFILE) resource_;
  rlimit before_{};
};

}  // namespace

TEST(RuleFiles, ThatCannotBeUsedAreReported) {
  const std::string rules = R"({"featureFrame":{"featureId":"A_anr_1","dirOrFile":"/","rules":[{"name":"r"}]}})";
  const struct {
    const char* what;
    std::string content;
    bool isRead;
  } kCases[] = {
      {"whole", rules, true},
      {"cut", rules.substr(0, rules.size() / 2), false},
      {"empty", "", false},
      {"NUL bytes", std::string(100, '\0'), false},
      {"NUL byte in front", '\0' + rules, false},
      {"NUL byte in a text", std::string("{\"a\":\"\0\"}", 9), true},
      {"array", "[]", true},
      {"array of rules", "[" + rules + "]", true},
      {"scalar", "1", false},
      {"keys twice", R"({"featureFrame":1,)" + rules.substr(1), true},
      {"deepest nesting", R"({"a":)" + Nested(998, "1") + "}", true},
      {"a level more", R"({"a":)" + Nested(999, "1") + "}", false},
      {"brackets in a text", R"({"a":"\")" + std::string(2000, '[') + "\"}", true},
      {"behind comments that hide it", R"({/* " */"a":)" + Nested(1200, "1") + R"(/* " */})", false},
      {"behind line comments", "{\"a\":1 // \"\n,\"b\":" + Nested(1200, "1") + "// \"\n}", false},
      {"brackets in comments", "{/*" + std::string(2000, '[') + "*/\"a\":1//" + std::string(2000, '[') + "\n}", true},
      {"a comment that is none", "{/\"" + std::string(2000, '['), false},
      {"a comment without an end", "{/*/" + std::string(2000, '['), false},
      {"far too deep", std::string(3000000, '['), false},
  };
  for (const auto& c : kCases) {
    const TempDir dir;
    dir.write("match_rule.json", c.content);
    dir.write("assemble_rule.json", "{}");
    TakeLog();
    Rule rule("/log", dir.path(), "anr");
    rule.parseRule();
    const bool isRead =
        TakeLog().front() != "6 parseMatchRule: unable to parse " + dir.path("match_rule.json") + " file.";
    EXPECT_EQ(c.isRead, isRead) << c.what;
    EXPECT_EQ(c.what == std::string("whole") || c.what == std::string("keys twice"), !rule.getMatchRule().empty())
        << c.what;
  }
}

TEST(RuleFiles, ThatCannotBeOpenedAreReported) {
  const TempDir dir;
  const auto isUnparsed = [&dir] {
    TakeLog();
    EXPECT_EQ(TextMap{}, Kestrix::analysis("/log", dir.path(), "anr"));
    return TakeLog() == Texts{"6 parseMatchRule: unable to parse " + dir.path("match_rule.json") + " file.",
                              "6 parseAssembleRule: unable to parse " + dir.path("assemble_rule.json") + " file.",
                              "6 filtStack: eventinfo empty or can't find STACK"};
  };
  for (const char* name : {"match_rule.json", "assemble_rule.json"}) {
    std::filesystem::create_symlink(dir.path(name), dir.path(name));
  }
  EXPECT_TRUE(isUnparsed()) << "a link to itself";
  for (const char* name : {"match_rule.json", "assemble_rule.json"}) {
    std::filesystem::remove(dir.path(name));
    dir.write(name, "");
    chmod(dir.path(name).c_str(), 0);
  }
  chmod(dir.path().c_str(), 0755);
  const bool isRoot = geteuid() == 0;
  ASSERT_EQ(0, seteuid(isRoot ? 65534 : geteuid()));
  EXPECT_TRUE(isUnparsed()) << "no permission";
  ASSERT_EQ(0, seteuid(isRoot ? 0 : geteuid()));
  for (const char* name : {"match_rule.json", "assemble_rule.json"}) {
    chmod(dir.path(name).c_str(), 0600);
    std::filesystem::resize_file(dir.path(name), 100 * 1024 * 1024);
  }
  EXPECT_TRUE(isUnparsed()) << "100 MB";
}

TEST(System, FailingCallsLeaveNoDescriptorOpen) {
  const TempDir dir;
  const std::string big = dir.write("big", "x");
  std::filesystem::resize_file(big, 33554433);
  dir.write("match_rule.json", R"({"featureFrame":{"featureId":"A_anr_1","dirOrFile":")" + big +
                                   R"(","rules":[{"name":"r","keyWords":"x","v_a":"x"}]}})");
  dir.write("assemble_rule.json", R"({"anr":{"A_anr_1":{"K":"r.v_a"}}})");
  // A file of the kernel that reports a size of one page and gives less.
  const std::string shortFile = "/sys/kernel/mm/transparent_hugepage/enabled";
  const size_t before = OpenDescriptors();
  for (int i = 0; i < 1000; ++i) {
    std::stringstream buffer;
    std::string content;
    std::array<char, 65> digest{};
    EXPECT_EQ(TextMap{}, Kestrix::analysis(big, dir.path(), "anr"));
    EXPECT_FALSE(FileUtil::ReadFileBuff(big, buffer) || FileUtil::LoadStringFromFile(big, content));
    EXPECT_FALSE(FileUtil::FileExists(shortFile) && FileUtil::ReadFileBuff(shortFile, buffer));
    EXPECT_FALSE(FileUtil::ReadFileBuff(dir.path(), buffer));
    EXPECT_NE(0, Sha256Util::CalcFileSha(dir.path("none"), digest.data(), digest.size()));
    TakeLogLines();
  }
  EXPECT_EQ(before, OpenDescriptors());

  const Limit limit(RLIMIT_NOFILE, 3);
  TakeLog();
  EXPECT_EQ(TextMap{}, Kestrix::analysis(big, dir.path(), "anr"));
  EXPECT_EQ("6 parseMatchRule: unable to parse " + dir.path("match_rule.json") + " file.", TakeLog().front());
  FeatureFrame frame;
  frame.logPath = big;
  Analysis analysis(1, "anr", &frame, {});
  analysis.match();
  EXPECT_EQ(1, analysis.getStatus());
}

TEST(System, ALogMayChangeBeforeItIsCut) {
  const TempDir dir;
  const std::string log = "mark\nat a\nat b\n";
  const struct {
    std::string changed;
    std::string stack;
  } kCases[] = {{log, "at a\nat b\n"},
                {log + "at c\n", "at a\nat b\nat c\n"},
                {"mark", ""},
                {"", ""},
                {std::string(9, 'x') + "\nat d", "at d\n"}};
  for (const auto& c : kCases) {
    for (const bool isReplaced : {false, true}) {
      for (const bool isOpened : {false, true}) {
        FeatureFrame frame;
        frame.logPath = dir.write("log", "head\n" + log);
        frame.rules = {
            {.name = "r", .depend = "", .keyWords = "mark", .command = "rules", .params = {{"v_s", "@T@at ."}}}};
        const auto opened = OpenLog(frame.logPath);
        Analysis analysis(1, "event", &frame, {{"STACK", "r.v_s"}});
        if (isOpened) analysis.readFrom(*opened);
        analysis.match();
        if (isReplaced) std::filesystem::remove(frame.logPath);
        dir.write("log", c.changed == log || c.changed.size() > log.size() ? "head\n" + c.changed : c.changed);
        analysis.assemble();
        EXPECT_EQ(c.stack.empty() ? TextMap{} : (TextMap{{"STACK", c.stack}}), analysis.getResult()) << c.changed;
        std::filesystem::remove(frame.logPath);
      }
    }
  }
}

// Calls back at the first line at or behind an offset.
class AtOffset : public RunNotes {
 public:
  AtOffset(size_t offset, std::function<void()> action) : offset_(offset), action_(std::move(action)) {}
  void onLine(std::string_view /*line*/, size_t offset, LineFate /*fate*/) override {
    if (offset >= offset_ && action_) std::exchange(action_, nullptr)();
  }

 private:
  const size_t offset_;
  std::function<void()> action_;
};

TEST(System, ALogMayChangeWhileItIsScanned) {
  std::string log = "k1\n";
  while (log.size() < 300000) log += "filler filler filler filler filler filler filler filler\n";
  const size_t last = log.size();
  log += "k2\n";
  const struct {
    const char* what;
    size_t offset;  // of the scan when the log changes
    std::function<void(const std::string&)> change;
    bool isRead;
  } kCases[] = {
      {"cut before the place", 150000, [](const auto& path) { std::filesystem::resize_file(path, 100); }, false},
      {"cut behind the place", 150000, [](const auto& path) { std::filesystem::resize_file(path, 290000); }, false},
      {"cut at the last line", last, [](const auto& path) { std::filesystem::resize_file(path, 10); }, false},
      {"emptied", 0, [](const auto& path) { std::filesystem::resize_file(path, 0); }, false},
      {"grown", 0, [](const auto& path) { std::ofstream(path, std::ios::app) << "k3\n"; }, true},
      {"removed", 0, [](const auto& path) { std::filesystem::remove(path); }, true},
      {"replaced", 0,
       [](const auto& path) { std::ofstream(path + "2") << "k4\n", rename((path + "2").c_str(), path.c_str()); }, true},
  };
  for (const auto& c : kCases) {
    const TempDir dir;
    FeatureFrame frame;
    frame.logPath = dir.write("log", log);
    frame.rules = {
        {.name = "r", .depend = "", .keyWords = "k", .command = "rules", .params = {{"v_a", "k(1)"}, {"v_b", "k(2)"}}}};
    const Texts rules = RuleTexts(frame.rules);
    AtOffset observer(c.offset, [&] { c.change(frame.logPath); });
    Analysis analysis(1, "event", &frame, {});
    analysis.observe(&observer);
    analysis.match();
    EXPECT_EQ(c.isRead ? -1 : 1, analysis.getStatus()) << c.what;
    EXPECT_EQ(c.isRead ? 2u : 0u, analysis.getRecords().size()) << c.what;
    EXPECT_EQ(c.isRead ? Texts{} : rules, RuleTexts(frame.rules)) << c.what;
  }
}

#ifdef __has_feature
#if __has_feature(address_sanitizer)
#define IS_SANITIZED
#endif
#endif
#ifndef IS_SANITIZED
// How many MiB more than any call one takes at its peak whose only result is `key`, with a value of that size.
int PeakOf(const TempDir& dir, const std::string& key, size_t valueSize) {
  const pid_t child = fork();
  if (child == 0) {
    const auto peak = [] {
      rusage usage{};
      getrusage(RUSAGE_SELF, &usage);
      return usage.ru_maxrss;
    };
    Kestrix::analysis(dir.path("none"), dir.path(), "none");
    const auto before = peak();
    const TextMap result = Kestrix::analysis("/log", dir.path(), "anr");
    const bool isFound = result.size() == 1 && result.begin()->first == key && result.at(key).size() == valueSize;
    _exit(!isFound ? 255 : static_cast<int>(std::min<long>(254, (peak() - before) / 1024)));
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

// A scan holds a window of the log, whatever its lines are like, and reads no more of it for a stack. Of a line that is
// taken for "num" there are two copies at a time; an emulator adds some MiB of its own.
TEST(System, TheLargestLogTakesLittleMemory) {
  const TempDir dir;
  const std::string path = dir.path("log");
  const std::string stack = R"j("rules":[{"name":"r","keyWords":"x","v_a":"@T@x"}])j";
  const std::string spans = R"j("rules":[],"segmentRule":[{"name":"r","keyWords":"x","num":2,"v_a":"^(y.*)"}])j";
  const struct {
    std::string head;
    char filler;
    size_t count;
    std::string tail;
    std::string rules;
    std::string key;
    size_t valueSize;
    int most;
  } kCases[] = {
      {"", '\n', kMaxFileSize - 3, "\nx\n", stack, "K", 2, 4},
      {"", '\0', kMaxFileSize - 3, "\nx\n", stack, "K", 2, 4},
      {"x\n", 'y', 20 << 20, "\n", spans, "REASON", 20 << 20, 48},
  };
  for (const auto& c : kCases) {
    std::ofstream log(path);
    log << c.head;
    for (size_t left = c.count, size = 0; left > 0; left -= size) {
      size = std::min<size_t>(left, 65536);
      log << std::string(size, c.filler);
    }
    log << c.tail << std::flush;
    dir.write("match_rule.json", R"({"featureFrame":{"featureId":"A_anr_1","skip":99999999,"dirOrFile":")" + path +
                                     "\"," + c.rules + "}}");
    dir.write("assemble_rule.json", R"({"anr":{"A_anr_1":{")" + c.key + R"(":"r.v_a"}}})");
    EXPECT_LE(PeakOf(dir, c.key, c.valueSize), c.most) << "MiB for " << c.key << " of " << c.valueSize << " bytes";
  }
}

TEST(SystemDeathTest, NoMemoryForTheLogEndsTheProcess) {
  const TempDir dir;
  const std::string log = dir.write("log", "x");
  std::filesystem::resize_file(log, 32 * 1024 * 1024);
  const auto read = [&log]() noexcept {
    const Limit limit(RLIMIT_AS, 16 * 1024 * 1024);
    std::stringstream buffer;
    FileUtil::ReadFileBuff(log, buffer);
  };
  EXPECT_DEATH(read(), "bad_alloc");
}
#endif
