#include <android-base/properties.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "entry/kestrix.h"
#include "tests/support/log_fake.h"
#include "tests/support/project_files.h"
#include "tests/support/rule_text.h"
#include "util/string_util.h"

// Every folder of tests/data is a whole call: log.txt, rules/, event, expected.json and, where the log lines matter,
// expected_log.txt. A failure in the field becomes a folder there; nothing here needs to change.

namespace {

namespace fs = std::filesystem;

std::string Read(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// One value, and one line of a value, on each line, so that a mismatch is printed as a difference of lines.
std::string MapText(const TextMap& map) {
  std::string text;
  for (const auto& [key, value] : map) {
    const std::string shown = StringUtil::ReplaceStr(value, "\r", "\\r");
    text += key + ": " + StringUtil::ReplaceStr(shown, "\n", "\\n\n    ") + "\n";
  }
  return text;
}

void ExpectCase(const fs::path& folder) {
  const std::string event = StringUtil::TrimStr(Read(folder / "event"), '\n');
  TextMap expected;
  const Json::Value values = ParseJson(Read(folder / "expected.json"));
  for (const std::string& key : values.getMemberNames()) expected[key] = values[key].asString();
  TakeLog();
  EXPECT_EQ(MapText(expected), MapText(Kestrix::analysis(folder / "log.txt", folder / "rules", event)));
  std::string log;
  for (const std::string& line : TakeLog()) log += line + "\n";
  if (!fs::exists(folder / "expected_log.txt")) return;
  std::string lines = StringUtil::ReplaceStr(Read(folder / "expected_log.txt"), "{LOG}", folder / "log.txt");
  lines = StringUtil::ReplaceStr(lines, "{DIR}", fs::canonical(folder / "rules"));
  EXPECT_EQ(StringUtil::ReplaceStr(lines, "{PID}", std::to_string(getpid())), log);
}

}  // namespace

TEST(Cases, GiveTheExpectedMapAndLog) {
  android::base::SetProperty("persist.sys.Kestrix.debug", "true");  // accepts the logs wherever the folder lies
  int count = 0;
  const std::string cases = ProjectFile("tests/data");
  for (const auto& entry : fs::directory_iterator(cases)) {
    if (!entry.is_directory()) continue;
    SCOPED_TRACE(entry.path());
    ExpectCase(entry.path());
    ++count;
  }
  android::base::SetProperty("persist.sys.Kestrix.debug", "false");
  EXPECT_GT(count, 0) << "no case in " << cases;
}
