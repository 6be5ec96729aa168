#include "entry/compiled_rules.h"

#include <android-base/properties.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "entry/kestrix.h"
#include "tests/support/project_files.h"
#include "tests/support/temp_dir.h"

namespace {

using TextMap = std::map<std::string, std::string>;

struct Call {
  std::string log;
  std::string type;

  TextMap cold(const std::string& rules) const { return Kestrix::analysis(log, rules, type); }
};

// Each example log under the rules of each event type, cut at several places: whole, without its end, empty.
std::vector<Call> ExampleCalls(const TempDir& dir) {
  std::vector<Call> calls;
  for (const auto& file : std::filesystem::directory_iterator(ProjectFile("examples/logs"))) {
    std::ifstream stream(file.path());
    const std::string log(std::istreambuf_iterator<char>(stream), {});
    for (const size_t size : {log.size(), log.size() / 2, size_t{200}, size_t{0}}) {
      const std::string path =
          dir.write(file.path().stem().string() + std::to_string(size), log.substr(0, std::min(size, log.size())));
      for (const char* type : {"app_not_responding", "java_crash", "kernel_panic", "native_crash", "none"}) {
        calls.push_back({path, type});
      }
    }
  }
  return calls;
}

class WarmRules : public testing::Test {
 protected:
  WarmRules() { android::base::SetProperty("persist.sys.Kestrix.debug", "true"); }
  ~WarmRules() override { android::base::SetProperty("persist.sys.Kestrix.debug", "false"); }

  TempDir dir_;
};

TEST_F(WarmRules, AnswerInAnyOrderAsColdCallsDo) {
  const std::string examples = ProjectFile("examples/rules");
  std::vector<Call> calls = ExampleCalls(dir_);
  ASSERT_GT(calls.size(), 50u);
  std::vector<TextMap> expected;
  for (const Call& call : calls) expected.push_back(call.cold(examples));
  std::vector<size_t> order;
  for (size_t i = 0; i < calls.size(); ++i) order.insert(order.end(), {i, i});
  std::mt19937 random(1);
  for (const size_t kept : {size_t{0}, size_t{100000}, size_t{64} << 20}) {
    CompiledRules warm(examples);
    warm.keep(kept);
    std::shuffle(order.begin(), order.end(), random);
    for (const size_t i : order) {
      ASSERT_EQ(expected[i], warm.analysis(calls[i].log, calls[i].type, nullptr)) << calls[i].log << calls[i].type;
      ASSERT_LE(warm.memory(), kept);
    }
  }
}

TEST_F(WarmRules, AreReadAgainWhenAFileHasChanged) {
  const std::string log = dir_.write("log", "one=1\ntwo=2\n");
  const auto writeRules = [&](const std::string& key, const std::string& record) {
    dir_.write("match_rule.json",
               R"j({"featureFrame":{"featureId":"F_e_1","dirOrFile":"x","rules":[{"name":"r","keyWords":")j" + key +
                   R"j(","v_a":"=(\\d)"}]}})j");
    dir_.write("assemble_rule.json", R"j({"e":{"F_e_1":{"K":")j" + record + R"j("}}})j");
  };
  CompiledRules warm(dir_.path());
  warm.keep(1 << 20);
  const auto answer = [&] { return warm.analysis(log, "e", nullptr); };
  writeRules("one", "r.v_a");
  EXPECT_EQ((TextMap{{"K", "1"}}), answer());
  writeRules("two", "r.v_a");
  EXPECT_EQ((TextMap{{"K", "2"}}), answer());
  writeRules("two", "r.v_b");
  EXPECT_EQ(TextMap{}, answer());
  dir_.write("match_rule.json", "no rules");
  EXPECT_EQ(TextMap{}, answer());
  std::filesystem::remove(dir_.path("match_rule.json"));
  EXPECT_EQ(TextMap{}, answer());
  writeRules("one", "r.v_a");
  EXPECT_EQ((TextMap{{"K", "1"}}), answer());
}

}  // namespace
