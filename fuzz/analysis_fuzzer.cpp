// A whole analysis: rules, a template for each record that they may make, and a log.

#include <json/json.h>

#include <map>
#include <sstream>

#include "analysis/analysis.h"
#include "entry/compiled_rules.h"
#include "entry/kestrix.h"
#include "fuzz/input.h"
#include "tests/support/plain_engine.h"
#include "tests/support/temp_dir.h"

namespace {

FeatureRule MakeRule(FuzzInput& input) {
  const auto name = [&input] { return input.pick({"r1", "r2", "LayerOneCmd"}); };
  const auto key = [&input] { return input.pick({"v_a", "v_b"}); };
  const auto variable = [&] { return input.oneIn(6) ? "@{" + name() + "." + key() + "}@" : ""; };
  FeatureRule rule;
  rule.command = input.pick({"rules", "segmentRule"});
  rule.num = rule.command == "rules" ? 0 : static_cast<int32_t>(input.below(5));
  rule.name = name();
  rule.depend = input.oneIn(4) ? name() + variable() : "";
  // Not in expressions: what a log brings into one may make it invalid, and that ends the process.
  rule.keyWords = input.oneIn(2) ? "@R@" + input.expression()
                                 : input.pick({"a", "pid", "at ", ""}) + input.pick({"", "@|@", "@&@"}) +
                                       input.pick({"1", "=", " ", "#"}) + variable();
  for (size_t i = input.below(3); i > 0; --i) {
    rule.params[key()] = input.pick({"", "", "@L@", "@T@"}) + input.expression();
  }
  return rule;
}

Json::Value JsonOf(const std::list<FeatureRule>& rules, const std::string& command) {
  Json::Value array(Json::arrayValue);
  for (const FeatureRule& rule : rules) {
    if (rule.command != command) continue;
    Json::Value element;
    element["name"] = rule.name;
    element["num"] = rule.num;
    element["depend"] = rule.depend;
    element["keyWords"] = rule.keyWords;
    for (const auto& [key, pattern] : rule.params) element[key] = pattern;
    array.append(element);
  }
  return array;
}

std::string Show(const std::vector<Record>& records) {
  std::string text;
  for (const auto& [name, info] : records) text += name + "@" + std::to_string(info.position) + "=" + info.line + "\n";
  return text;
}

void CheckScan(FeatureFrame frame, const std::string& log) {
  FeatureFrame plainFrame = frame;
  std::stringstream plainContent(log);
  PlainEngine plain(plainFrame);
  plain.scan(plainContent);
  std::stringstream content(log);
  Analysis engine(1, "event", &frame, {});
  engine.rawInfoPosition(content);
  FUZZ_CHECK(Show(plain.records()) == Show(engine.getRecords()));
  FUZZ_CHECK(plainFrame.rules.size() == frame.rules.size());
}

void CheckAnalysis(const FeatureFrame& frame, const std::string& log) {
  static const TempDir dir;
  Json::Value match;
  Json::Value& entry = match["featureFrame"];
  entry["featureId"] = "F_event_1";
  entry["dirOrFile"] = dir.write("log", log);
  entry["skip"] = frame.skip;
  entry["rules"] = JsonOf(frame.rules, "rules");
  entry["segmentRule"] = JsonOf(frame.rules, "segmentRule");
  Json::Value assemble;
  assemble["event"]["F_event_1"]["STACK"] = "r1.v_a";
  assemble["event"]["F_event_1"]["REASON"] = "r2.v_a:r2.v_b";
  Json::StreamWriterBuilder writer;
  writer["emitUTF8"] = true;
  dir.write("match_rule.json", Json::writeString(writer, match));
  dir.write("assemble_rule.json", Json::writeString(writer, assemble));
  const auto result = SameAnswerAlways([] { return Kestrix::analysis("/log", dir.path(), "event"); });
  FUZZ_CHECK(result.contains("STACK") == result.contains("FINGERPRINT"));
  // Kept rules answer as those that are read afresh, whatever log came before.
  CompiledRules kept(dir.path());
  kept.keep(1 << 20);
  for (const std::string& next : {log, log.substr(log.size() / 2), std::string(), log}) {
    dir.write("log", next);
    const auto afresh = Kestrix::analysis("/log", dir.path(), "event");
    FUZZ_CHECK(kept.analysis(std::string("/log"), "event", nullptr) == afresh);
  }
  TakeLogLines();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  FeatureFrame frame;
  frame.skip = input.oneIn(3) ? 0 : static_cast<int32_t>(input.below(12));
  for (size_t i = input.below(5); i > 0; --i) frame.rules.push_back(MakeRule(input));
  const std::string log = input.ConsumeRemainingBytesAsString();
  CheckScan(frame, log);
  CheckAnalysis(frame, log);
  return 0;
}
