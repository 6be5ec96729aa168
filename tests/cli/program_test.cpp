#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/support/temp_dir.h"

namespace {

constexpr char kTable[] =
    "A            \uFFFD\uFFFD \"it\"\n"
    "FINGERPRINT  b1538689816d5c14ca60671267103fd279cfd842c60446d4708441ec88b260cd\n"
    "FST_FRAME    a.B.c(B.java:1)\n"
    "SEC_FRAME    a.D.e(D.java:2)\n"
    "STACK\n"
    "    a.B.c(B.java:1)\n"
    "    a.D.e(D.java:2)\n";

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

// Runs the program in a folder that holds logs, and directories of rule files named after what is wrong with them.
class Program : public testing::Test {
 protected:
  Program() {
    dir_.write("log", "got \xff\xc3 \"it\"\n\tat a.B.c(B.java:1)\n\tat a.D.e(D.java:2)\n");
    dir_.write("empty", "");
    std::filesystem::resize_file(dir_.write("big", ""), 32 * 1024 * 1024 + 1);
    mkfifo(dir_.path("pipe").c_str(), 0600);
    const std::string frame =
        R"({"featureFrame":{"featureId":"F_X_1","dirOrFile":")" + dir_.path() + R"(","subcataLog":"l.g","rules":[)";
    writeRules("rules", frame + R"({"name":"r","keyWords":"got","v_a":"got (.*)$"},
                                   {"name":"r","keyWords":"\tat","v_s":"@T@at .*"}]}})");
    writeRules("paren", frame + R"({"name":"r","keyWords":"got","v_a":"("}]}})");
    writeRules("bracket", frame + R"({"name":"r","keyWords":"got","v_a":"["}]}})");
    writeRules("type",
               "{\"featureFrame\":\n"
               R"({"featureId":"F_X_1","dirOrFile":["/data"]}})");
    writeRules("number", frame + R"({"name":"r"},{"name":"r","num":"3"}]}})");
    writeRules("deep", std::string(1001, '[') + std::string(1001, ']'));
    writeRules("template", frame + "]}}");
    dir_.write("template/assemble_rule.json", "{\"X\":\n{\"F_X_1\":{\"A\":{}}}}");
    writeRules("text", "{\n\"a\": }");
    writeRules("half", "{}");
    std::filesystem::remove(dir_.path("half/assemble_rule.json"));
  }

  Outcome run(const std::string& arguments) const {
    const std::string command = "cd " + dir_.path() + " && >out 2>err timeout 100 " KESTRIX_PROGRAM " " + arguments;
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("out"), read("err")};
  }

  const TempDir dir_;

 private:
  void writeRules(const std::string& name, const std::string& matchRules) const {
    std::filesystem::create_directory(dir_.path(name));
    dir_.write(name + "/match_rule.json", matchRules);
    dir_.write(name + "/assemble_rule.json", R"({"X":{"F_X_1":{"A":"r.v_a","STACK":"r.v_s"}}})");
  }

  std::string read(const std::string& name) const {
    std::ifstream file(dir_.path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

TEST_F(Program, PrintsTheResult) {
  const std::string command = "analyze ./log --event X --config rules";
  const Outcome table = run(command);
  EXPECT_EQ(0, table.status);
  EXPECT_EQ(kTable, table.out);
  EXPECT_EQ("", table.err);

  const Outcome verbose = run(command + " --verbose");
  EXPECT_EQ(kTable, verbose.out);
  EXPECT_NE(std::string::npos, verbose.err.find("start filt stack")) << "the last line, of the lowest priority";

  Json::Value root;
  std::istringstream(run(command + " --json").out) >> root;  // throws what is not JSON
  EXPECT_EQ(5U, root.size());
  EXPECT_EQ("\uFFFD\uFFFD \"it\"", root["A"].asString());
  EXPECT_EQ("a.B.c(B.java:1)\r\na.D.e(D.java:2)", root["STACK"].asString());

  EXPECT_EQ(0, run("analyze " + dir_.path("log") + " --event X --config rules --check-path").status);
  EXPECT_EQ("{}\n", run("analyze empty --event X --config rules --json").out);
}

TEST_F(Program, SaysInOneLineWhatIsWrong) {
  const struct {
    const char* arguments;
    int status;
    const char* line;  // how it begins
  } kCases[] = {
      {"analyze empty --event X --config rules", 1, "empty: nothing found for the event type X"},
      {"analyze log --event Y --config rules", 2, "event type: no rule knows the event type \"Y\""},
      {"batch log --event Y --config rules", 2, "--event: no rule knows the event type \"Y\""},
      {"analyze log --event '' --config rules", 2, "--event: an event type is not empty"},
      {"help analyse", 2, "help: there is no command \"analyse\"; did you mean \"analyze\"?"},
      {"analyze big --event X --config rules --check-path", 2, "big: is larger than 32 MiB"},
      {"analyze rules --event X --config rules", 2, "rules: is a directory"},
      {"analyze pipe --event X --config rules", 2, "pipe: is not a regular file"},
      {"analyze /dev/zero --event X --config rules", 2, "/dev/zero: is not a regular file"},
      {"analyze none --event X --config rules", 2, "none: No such file or directory"},
      {"analyze empty --event X --config none", 2, "none: No such file or directory"},
      {"analyze empty --event X --config half", 2, "half/assemble_rule.json: No such file or directory"},
      {"analyze empty --event X --config text", 2, "text/match_rule.json: not valid JSON: Line 2, Column 6: "},
      {"analyze empty --event X --config type", 2,
       "type/match_rule.json:2:34: \"dirOrFile\" has to be text, not an array: the device process ends here"},
      {"analyze empty --event X --config number", 2, "number/match_rule.json:1:"},
      {"analyze empty --event X --config template", 2, "template/assemble_rule.json:2:"},
      {"analyze empty --event X --config deep", 2, "deep/match_rule.json: "},
      {"analyze log --event X --config paren", 2, "paren/match_rule.json: "},
      {"analyze log --event X --config bracket", 2, "bracket/match_rule.json: "},
      {"analyze log --event X --config rules >/dev/full", 2, "standard output cannot be written"},
      {"analyze log --event X", 2, "--config is required; kestrix analyze --help"},
      {"analyse", 2, "there is no command \"analyse\"; did you mean \"analyze\"?; kestrix --help"},
      {"", 2, "A command is required"},
  };
  for (const auto& c : kCases) {
    const Outcome outcome = run(c.arguments);
    EXPECT_EQ(c.status, outcome.status) << c.arguments;
    EXPECT_EQ("", outcome.out) << c.arguments;
    EXPECT_TRUE(outcome.err.starts_with(std::string("kestrix: ") + c.line)) << c.arguments << "\n" << outcome.err;
    EXPECT_EQ(1, std::count(outcome.err.begin(), outcome.err.end(), '\n')) << c.arguments << "\n" << outcome.err;
  }
}

}  // namespace
