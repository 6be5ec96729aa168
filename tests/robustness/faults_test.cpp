// Rule files that are not to be trusted, and a system that fails.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "analysis/analysis.h"
#include "entry/kestrix.h"
#include "rules/rule.h"
#include "tests/support/log_fake.h"
#include "tests/support/rule_text.h"
#include "tests/support/temp_dir.h"
#include "util/file_util.h"
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
  // A file of the kernel that tells a size of one page and gives less.
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
    FeatureFrame frame;
    frame.logPath = dir.write("log", "head\n" + log);
    frame.rules = {{.name = "r", .depend = "", .keyWords = "mark", .command = "rules", .params = {{"v_s", "@T@at ."}}}};
    Analysis analysis(1, "event", &frame, {{"STACK", "r.v_s"}});
    analysis.match();
    dir.write("log", c.changed == log || c.changed.size() > log.size() ? "head\n" + c.changed : c.changed);
    analysis.assemble();
    EXPECT_EQ(c.stack.empty() ? TextMap{} : (TextMap{{"STACK", c.stack}}), analysis.getResult()) << c.changed;
    std::filesystem::remove(frame.logPath);
  }
}

#ifndef __SANITIZE_ADDRESS__
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
