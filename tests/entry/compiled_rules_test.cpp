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

// Features whose rules differ in what the lines for them depend on.
const char* const kFeatures[] = {
    R"j("rules":[{"name":"r%","keyWords":"event 7001 ","v_a":"(\\d+)$"}])j",
    R"j("rules":[{"name":"r%","keyWords":"@R@event 12(\\d)0 ","v_a":"of (\\d+)"}])j",
    R"j("skip":900,"rules":[{"name":"r%","keyWords":"event 400 ","v_a":"(\\d+)$"},
                            {"name":"s%","keyWords":"event 901 ","v_a":"(\\d+)$"}])j",
    R"j("rules":[{"name":"r%","keyWords":"event 50 ","v_a":"(\\d+)$"},
                 {"name":"s%","keyWords":"of @{r%.v_a}@","v_a":"event (\\d+)"}])j",
    R"j("rules":[{"name":"r%","keyWords":"","v_a":"event (33\\d\\d)"}])j",
    R"j("segmentRule":[{"name":"r%","keyWords":"event ","v_a":"@L@event (\\d+)"}],"rules":[])j",
    R"j("rules":[{"name":"LayerOneCmd%","keyWords":"event 60 ","v_a":"(\\d+)$"},
                 {"name":"s%","keyWords":" event 62 ","v_a":"(\\d+)$"}])j",
    R"j("segmentRule":[{"name":"r%","keyWords":"event 9","v_a":"@L@of (\\d+)","num":3}],
        "rules":[{"name":"s%","keyWords":"event 9001","depend":"r%","v_a":"(\\d+)"}])j",
};

TEST_F(WarmRules, AnswerForManyFeaturesAsForEachAlone) {
  std::string log;
  for (int i = 0; i < 9500; ++i) {
    if (i % 4 == 0 && i < 400) log += std::string(2049, 'x') + "\n";  // not examined
    log += (i == 61 ? "\tan event 62 of 3\n" : "") + ("event " + std::to_string(i)) + " of " +
           std::to_string(i * 7 % 1000) + "\nand " + std::to_string(i) + "\n";
  }
  const std::string path = dir_.write("log", log);
  std::string entries, templates;
  TextMap expected;
  const auto answer = [&](const std::string& matchEntries, const std::string& assembleEntries) {
    dir_.write("match_rule.json", "{" + matchEntries + "}");
    dir_.write("assemble_rule.json", "{\"e\":{" + assembleEntries + "}}");
    return Kestrix::analysis(path, dir_.path(), "e");
  };
  for (size_t i = 0; i < 16; ++i) {
    const std::string number = std::to_string(i), id = "\"F_e_" + std::to_string(100 + i) + "\"";
    std::string rules = kFeatures[i % std::size(kFeatures)];
    for (size_t pos = 0; (pos = rules.find('%', pos)) != std::string::npos;) rules.replace(pos, 1, number);
    std::string results;
    for (const std::string name : {"r", "s", "LayerOneCmd"}) {
      results += (results.empty() ? "{\"" : ",\"") + name + number + "\":\"" + name + number + ".v_a\"";
    }
    const std::string entry =
        "\"featureFrame" + number + R"j(":{"dirOrFile":"x","featureId":)j" + id + "," + rules + "}";
    const TextMap alone = answer(entry, id + ":" + results + "}");
    expected.insert(alone.begin(), alone.end());
    entries += (i == 0 ? "" : ",") + entry;
    templates += (i == 0 ? "" : ",") + id + ":" + results + "}";
  }
  EXPECT_GT(expected.size(), 15u);
  EXPECT_EQ(expected, answer(entries, templates));
}

}  // namespace
