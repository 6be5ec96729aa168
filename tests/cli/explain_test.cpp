#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/cli/transcript.h"
#include "tests/support/temp_dir.h"
#include "util/limits.h"

namespace {

constexpr char kSource[] = KESTRIX_SOURCE_DIR;
constexpr char kCases[] = KESTRIX_SOURCE_DIR "/tests/data-explain";

// The JSON object that a command prints, and its status in "status".
Json::Value ObjectOf(const std::string& folder, const std::string& commandLine) {
  const std::string output = OutputOf(folder, commandLine);
  const size_t end = output.rfind("-> ");
  Json::Value root;
  std::istringstream(output.substr(0, end)) >> root;  // throws what is not JSON
  root["status"] = output.substr(end);
  return root;
}

TEST(Explain, PrintsWhatTheTranscriptHolds) { EXPECT_GT(ExpectTranscript(kCases), 20); }

// The results, and the status, are those of analyze; where the story disagrees with the library, the status is 2.
TEST(Explain, GivesTheResultsOfAnalyze) {
  std::vector<std::string> calls;
  for (const char* event : {"java_crash", "native_crash", "app_not_responding", "kernel_panic"}) {
    for (const auto& log : std::filesystem::directory_iterator(std::string(kSource) + "/examples/logs")) {
      calls.push_back(log.path().string() + " --config examples/rules --event " + event);
    }
  }
  for (const auto& folder : std::filesystem::directory_iterator(std::string(kSource) + "/tests/data")) {
    if (!folder.is_directory()) continue;
    const std::string path = folder.path().string();
    std::istringstream event(ReadFile(path + "/event"));
    std::string name;
    event >> name;
    calls.push_back(path + "/log.txt --config " + path + "/rules --event " + name);
  }
  EXPECT_GT(calls.size(), 20U);
  for (const std::string& call : calls) {
    Json::Value results = ObjectOf(kSource, "kestrix analyze " + call + " --json 2>/dev/null");
    const Json::Value story = ObjectOf(kSource, "kestrix explain " + call + " --format json");
    EXPECT_EQ(results["status"], story["status"]) << call;
    results.removeMember("status");
    EXPECT_EQ(results, story["result"]) << call;
  }
}

// Traces of all shapes and lengths: what is said of their lines has to be what the library makes of them.
TEST(Explain, TellsOfAnyStackWhatTheLibraryDoes) {
  const char* const kLines[] = {"\tat a.B.c(B.java:1)",
                                "\tat ",
                                "at libc.so.D.e(D.java)",
                                "Caused by: java.lang.RuntimeException: x",
                                "Suppressed: a.B",
                                "    #00 pc 0a1b  /data/app/x-y==/libapp.so (run+5)",
                                "    #01 pc 0a1b  /apex/lib64/libart.so (f+5)",
                                "[ 1.0] panic+0x1/0x2",
                                "[ 1.0] dump_stack+0x1/0x2",
                                "[ 1.0] kthread+0x1/0x2",
                                "  - locked(a)",
                                "\t"};
  const TempDir dir;
  std::mt19937 random(7);
  for (int i = 0; i < 60; ++i) {
    // A few of the lines, so that whole blocks are noise in some traces.
    std::vector<const char*> chosen;
    for (const char* line : kLines) {
      if (random() % 3 == 0) chosen.push_back(line);
    }
    if (chosen.empty()) continue;
    std::string log = "begin\n";
    for (size_t lines = random() % (i % 2 == 0 ? 12 : 90); lines > 0; --lines) {
      log += std::string(chosen[random() % chosen.size()]) + "\n";
    }
    const std::string path = dir.write("log.txt", log);
    const Json::Value story =
        ObjectOf(kCases, "kestrix explain " + path + " --config rules --event stack --format json 2>/dev/null");
    EXPECT_TRUE(story["faults"].empty()) << story["faults"] << log;
    EXPECT_NE("-> 2\n", story["status"].asString()) << log;
  }
}

TEST(Explain, KeepsALimitedNumberOfLines) {
  const TempDir dir;
  std::string log;
  for (int i = 0; i < 50'000; ++i) log += "block of " + std::to_string(i) + "\n";
  const std::string path = dir.write("log.txt", log);
  const Json::Value story =
      ObjectOf(kCases, "kestrix explain " + path + " --config rules --event reason --format json");
  for (const Json::Value& rule : story["runs"][0]["rules"]) {
    if (rule["name"] != "block") continue;
    EXPECT_EQ(16667, rule["selectedCount"].asInt());
    EXPECT_EQ(1000U, rule["selected"].size());
    return;
  }
  FAIL() << "there is no such rule";
}

TEST(Explain, TellsOfALineThatIsTooLong) {
  const TempDir dir;
  for (const size_t size : {kMaxLineLen, kMaxLineLen + 1}) {
    const std::string path = dir.write("log.txt", std::string(size, 'x') + "\n");
    const Json::Value story =
        ObjectOf(kCases, "kestrix explain " + path + " --config rules --event reason --format json");
    EXPECT_EQ(size > kMaxLineLen ? 1U : 0U, story["health"].size()) << size;
  }
}

TEST(Explain, TellsOfALogThatIsTooLarge) {
  const TempDir dir;
  const std::string path = dir.write("log.txt", "");
  std::filesystem::resize_file(path, 32 * 1024 * 1024 + 1);
  const std::string output = OutputOf(kCases, "kestrix explain " + path + " --config rules --event reason");
  EXPECT_NE(std::string::npos, output.find("  the log is larger than 32 MiB: the library reads nothing of it\n"));
  EXPECT_NE(std::string::npos, output.find("  the library cannot read "));
  EXPECT_TRUE(output.ends_with("-> 1\n")) << output;
}

// A page has each verdict once, and each combination of them; with --line they stand for themselves.
TEST(Explain, SharesTheVerdictsOfAPage) {
  const TempDir dir;
  const std::string call = "kestrix explain logs/reasons.txt --config rules --event reason ";
  const std::string path = dir.path() + "/page.html";
  OutputOf(kCases, call + "--format html -o " + path);
  const std::string page = ReadFile(path);
  const std::string mark = R"(id="data">)";
  Json::Value data;
  std::istringstream(page.substr(page.find(mark) + mark.size())) >> data;
  const Json::Value& told = data["runs"][0]["verdicts"];
  for (const char* part : {"words", "rows"}) {
    EXPECT_GT(told[part].size(), 5U);
    const std::set<Json::Value> shared(told[part].begin(), told[part].end());
    EXPECT_EQ(told[part].size(), shared.size()) << part;
  }
  for (const Json::ArrayIndex line : {1U, 2U, 9U, 12U, 20U}) {
    const Json::Value asked =
        ObjectOf(kCases, call + "--format json --line " + std::to_string(line))["runs"][0]["asked"]["verdicts"];
    const Json::Value& row = told["rows"][told["lines"][line - 1].asUInt()];
    ASSERT_EQ(asked.size(), row.size()) << line;
    for (Json::ArrayIndex rule = 0; rule < row.size(); ++rule) {
      EXPECT_EQ(asked[rule]["verdict"], told["words"][row[rule].asUInt()][0]) << line;
      EXPECT_EQ(asked[rule]["why"], told["words"][row[rule].asUInt()][1]) << line;
    }
  }
}

// The template that gives the value, those that are beaten, those with some records; then where most else is found.
TEST(Explain, TellsOfAKeyTheNearestTemplatesFirst) {
  const auto entry = [](const std::string& number, const std::string& rules) {
    return "\"featureFrame_" + number + R"(": {"dirOrFile": "/a", "featureId": "K_x_)" + number + R"(", "rules": [)" +
           rules + "]}";
  };
  const std::string none = R"+({"name": "none", "keyWords": "absent", "v_x": "(.*)"})+";
  const std::string full = R"+({"name": "full", "keyWords": "line", "v_x": "(line)"})+";
  const std::string rich = R"+({"name": "rich", "keyWords": "line", "v_x": "(line)", "v_y": "(line)"})+";
  const TempDir dir;
  dir.write("match_rule.json",
            "{" + entry("1", none) + "," + entry("2", R"+({"name": "empty", "keyWords": "line", "v_x": "line(z)?"})+") +
                "," + entry("3", full) + "," + entry("4", full) + "," + entry("5", none + "," + rich) + "}");
  dir.write("assemble_rule.json", R"({"x": {"K_x_1": {"K": "none.v_x"}, "K_x_2": {"K": "empty.v_x"},
    "K_x_3": {"K": "full.v_x"}, "K_x_4": {"K": "full.v_x"}, "K_x_5": {"K": "none.v_x"}}})");
  const std::string log = dir.write("log.txt", "a line\n");
  const std::string call = "kestrix explain " + log + " --config " + dir.path() + " --event x --key K --format json";
  const Json::Value key = ObjectOf(kCases, call);
  std::string order;
  for (const Json::Value& told : key["templates"]) {
    order += told["featureId"].asString() + " " + told["state"].asString() + "\n";
  }
  EXPECT_EQ("K_x_3 used\nK_x_4 lost\nK_x_2 empty\nK_x_5 empty\nK_x_1 empty\n", order);
}

}  // namespace
