#include "bench/inputs.h"

#include <json/json.h>

#include <array>
#include <random>

namespace {

using Words = std::vector<std::string>;

// A generator whose numbers are the same with every standard library.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  size_t below(size_t n) { return engine_() % n; }
  const std::string& pick(const Words& words) { return words[below(words.size())]; }
  std::string digits(size_t count) {
    std::string text;
    while (text.size() < count) text += static_cast<char>('0' + below(10));
    return text;
  }
  std::string hex(size_t count) {
    std::string text;
    while (text.size() < count) text += "0123456789abcdef"[below(16)];
    return text;
  }

 private:
  std::mt19937 engine_;
};

const Words kTags = {"ActivityManager", "WindowManager",       "PackageManager",  "AudioFlinger", "SurfaceFlinger",
                     "wpa_supplicant",  "ConnectivityService", "InputDispatcher", "BatteryStats", "art",
                     "GnssLocation",    "BluetoothGatt",       "CameraService",   "JobScheduler", "StorageManager"};
const Words kVerbs = {"start", "bind", "unbind", "schedule", "release", "acquire", "update", "query", "draw", "notify"};
const Words kNouns = {"service", "window", "session", "buffer", "request",
                      "layer",   "client", "display", "socket", "job"};
const Words kPackages = {"com.example.mail",   "com.example.maps", "org.sample.player",
                         "com.example.camera", "org.sample.notes", "com.example.shell"};
const Words kClasses = {"Main", "Loader", "Session", "Worker", "Player", "Cache", "View", "Store"};
const Words kMethods = {"run", "load", "open", "handle", "dispatch", "invoke", "read", "draw"};

std::string Prefix(Random& random, const char* level, const std::string& tag) {
  return "11-21 10:" + random.digits(2) + ":" + random.digits(2) + "." + random.digits(3) + "  " + random.digits(4) +
         " " + random.digits(5) + " " + level + " " + tag + ": ";
}

std::string JavaFrame(Random& random) {
  const std::string& name = random.pick(kClasses);
  return "at " + random.pick(kPackages) + "." + name + "." + random.pick(kMethods) + "(" + name +
         ".java:" + std::to_string(random.below(900) + 10) + ")";
}

std::string NativeFrame(Random& random, size_t number) {
  return "#" + std::to_string(number / 10) + std::to_string(number % 10) + " pc " + random.hex(16) + "  /data/app/" +
         random.pick(kPackages) + "-" + random.hex(8) + "==/lib/arm64/lib" + random.pick(kNouns) + ".so (" +
         random.pick(kVerbs) + "_" + random.pick(kNouns) + "+" + std::to_string(random.below(900)) + ")";
}

std::string KernelFrame(Random& random) {
  return random.pick(kVerbs) + "_" + random.pick(kNouns) + "+0x" + random.hex(3) + "/0x" + random.hex(3);
}

std::string Chatter(Random& random) {
  return Prefix(random, "D", random.pick(kTags)) + random.pick(kVerbs) + " " + random.pick(kNouns) + " " +
         random.pick(kPackages) + "/." + random.pick(kClasses) + " uid=" + random.digits(5) + " flags=0x" +
         random.hex(8) + " " + random.pick(kVerbs) + "=" + random.digits(3) + "ms";
}

void AppendCrash(Random& random, std::string& log) {
  const std::string head = Prefix(random, "E", "AndroidRuntime");
  log += head + "FATAL EXCEPTION: main\n" + head + "Process: " + random.pick(kPackages) + ", PID: " + random.digits(4) +
         "\n";
  log += head + "java.lang.IllegalStateException: no " + random.pick(kNouns) + "\n";
  for (int i = 0; i < 12; ++i) log += head + "\t" + JavaFrame(random) + "\n";
}

FeatureRule SegmentRule(const std::string& name, const std::string& keyWords, const std::string& pattern) {
  FeatureRule rule;
  rule.name = name;
  rule.keyWords = keyWords;
  rule.command = "segmentRule";
  rule.params["v_value"] = pattern;
  return rule;
}

Json::Value ToJson(const FeatureRule& rule) {
  Json::Value json;
  json["name"] = rule.name;
  json["keyWords"] = rule.keyWords;
  if (!rule.depend.empty()) json["depend"] = rule.depend;
  for (const auto& [key, pattern] : rule.params) json[key] = pattern;
  return json;
}

std::string Write(const Json::Value& json) { return Json::writeString(Json::StreamWriterBuilder(), json); }

}  // namespace

std::string MakeLog(size_t size, const std::vector<std::string>& early, const std::string& front) {
  Random random(1);
  std::string log;
  log.reserve(size + 4096);
  size_t nextEarly = 0;
  for (size_t line = 0; log.size() < size; ++line) {
    if (line % 4 == 3 && nextEarly < early.size()) {
      log += Prefix(random, "E", random.pick(kTags)) + early[nextEarly++] + "\n";
    } else if (random.below(3000) == 0) {
      AppendCrash(random, log);
    } else if (random.below(400) == 0) {
      log += Prefix(random, "W", "kernel") + "[ " + random.digits(4) + "." + random.digits(6) + "] " +
             KernelFrame(random) + "\n";
    } else {
      log += front + Chatter(random) + "\n";
    }
  }
  const size_t end = log.rfind('\n', size);
  log.resize(end == std::string::npos || size == 0 ? 0 : end + 1);
  return log;
}

Workload OneKeyword() {
  return {"1 keyword rule", {SegmentRule("crash", "FATAL EXCEPTION", ": (\\w+)$")}, {"FATAL EXCEPTION: main"}};
}

Workload Keywords(size_t count) {
  Workload workload{std::to_string(count) + " keyword rules", {}};
  Random random(2);
  workload.rules.push_back(SegmentRule("crash", "FATAL EXCEPTION", "FATAL EXCEPTION: (\\w+)"));
  for (size_t i = 1; i < count; ++i) {
    const std::string keyWords = random.pick(kVerbs) + " " + random.pick(kNouns) + " failed " + random.hex(4);
    workload.rules.push_back(SegmentRule("rule" + std::to_string(i), keyWords, "failed (\\w+)"));
    workload.hits.push_back(keyWords);
  }
  return workload;
}

Workload RegexesWithText(size_t count) {
  Workload workload{std::to_string(count) + " \"@R@\" rules with text inside", {}};
  Random random(3);
  workload.rules.push_back(SegmentRule("crash", "@R@FATAL EXCEPTION: \\w+", "FATAL EXCEPTION: (\\w+)"));
  for (size_t i = 1; i < count; ++i) {
    const std::string verb = random.pick(kVerbs);
    const std::string died = "died " + random.hex(3) + " after ";
    workload.rules.push_back(
        SegmentRule("rule" + std::to_string(i), "@R@" + verb + " (\\w+) .*" + died + "\\d+ms", "after (\\d+)ms"));
    workload.hits.push_back(verb + " job 12 " + died + random.digits(3) + "ms");
  }
  return workload;
}

Workload RegexesWithoutText() {
  Workload workload{"5 \"@R@\" rules without text", {}};
  workload.hits = {"ABCDEFG HIJKL", "draw_layer+0x12345/0xfff", "1234567890a1", "G1H2", "(12)x: 3"};
  int number = 0;
  for (const char* keyWords : {"@R@[A-Z]{6,} [A-Z]{5,}", "@R@[a-z_]+\\+[0-9a-fx]{7,}/[0-9a-fx]+", "@R@\\d{9,}[a-z]\\d",
                               "@R@[G-Z][0-9][G-Z][0-9]", "@R@\\(\\d+\\)[a-z]*:\\s\\d"}) {
    workload.rules.push_back(SegmentRule("rule" + std::to_string(++number), keyWords, "(\\w+)$"));
  }
  return workload;
}

Workload AndEveryLine(Workload workload) {
  workload.name += " and one that accepts every line";
  workload.rules.push_back(
      {.num = 0, .name = "all", .depend = "", .keyWords = "", .command = "segmentRule", .params = {}});
  return workload;
}

Workload UnmetDependencies(size_t count) {
  Workload workload = RegexesWithText(count);
  for (FeatureRule& rule : workload.rules) rule.depend = "never";
  workload = AndEveryLine(workload);
  workload.name = std::to_string(count) + " rules with an unmet dependency and one that accepts every line";
  return workload;
}

Workload OpenVariables(size_t count, size_t recordNames) {
  Workload workload = Keywords(recordNames);
  for (size_t i = 0; i < count; ++i) {
    workload.rules.push_back(
        SegmentRule("open" + std::to_string(i), "@{never.v_value}@ " + std::to_string(i), "(\\w+)$"));
  }
  workload = AndEveryLine(workload);
  workload.name = std::to_string(count) + " rules with an open variable, " + std::to_string(recordNames) +
                  " record names and one that accepts every line";
  return workload;
}

Workload CommonFronts(size_t count, bool asExpressions) {
  Workload workload{
      std::to_string(count) + (asExpressions ? " \"@R@\"" : " \"@&@\"") + " rules with a front on every line", {}};
  workload.front = "ERROR in module ";
  for (size_t i = 0; i < count; ++i) {
    const std::string end = "q" + std::to_string(i) + "q";
    const std::string keyWords = asExpressions ? "@R@ERROR in module.*" + end : "ERROR in module@&@" + end;
    workload.rules.push_back(SegmentRule("rule" + std::to_string(i), keyWords, "(\\w+)$"));
    workload.hits.push_back("ERROR in module x " + end);
  }
  return workload;
}

Workload ManyStates(size_t count) {
  Workload workload{std::to_string(count) + " \"@R@\" rules like \\w+a\\w+b\\w+7", {}};
  for (size_t i = 0; i < count; ++i) {
    const std::string end = std::to_string(1000 + i);
    workload.rules.push_back(SegmentRule("rule" + std::to_string(i), "@R@\\w+a\\w+b\\w+" + end, "(\\w+)$"));
    workload.hits.push_back("xaxbx" + end);
  }
  return workload;
}

Workload CountedStates() {
  return {"1 \"@R@\" rule a[ab]{15}c, a and b on every line",
          {SegmentRule("rule", "@R@a[ab]{15}c", "(\\w+)$")},
          {},
          "abbabaabbbabaababbababbabaabbabbabaabbbabaababbababbabaabb "};
}

Workload LastValuesEverywhere(size_t count) {
  Workload workload{std::to_string(count) + " \"@L@\" parameters on every line",
                    {SegmentRule("all", ": ", "@L@(\\w+)$")}};
  for (size_t i = 1; i < count; ++i) workload.rules.front().params["v_" + std::to_string(i)] = "@L@uid=(\\d+)";
  return workload;
}

Workload StackRecords(size_t count) {
  Workload workload{std::to_string(count) + " stack records", {}, {"FATAL EXCEPTION: main"}};
  constexpr size_t kRules = 50;
  for (size_t i = 0; i < kRules; ++i) {
    FeatureRule rule = SegmentRule("rule" + std::to_string(i), "FATAL EXCEPTION", "@T@\\s+at .*");
    rule.command = "rules";
    for (size_t k = 1; k < count / kRules; ++k) rule.params["v_" + std::to_string(k)] = "@T@\\s+at .*";
    workload.rules.push_back(rule);
  }
  return workload;
}

Workload KeywordEverywhere() {
  return {"keyword on every line, rare value", {SegmentRule("all", ": ", "EXCEPTION: (\\w+)")}};
}

Workload EveryLineMatches() { return {"every line matches", {SegmentRule("line", "value", "value=(\\d+)")}}; }

std::string MakeMatchingLog(size_t lines) {
  Random random(4);
  std::string log;
  for (size_t i = 0; i < lines; ++i) log += random.pick(kVerbs) + " value=" + random.digits(4) + "\n";
  return log;
}

std::string MatchRuleFile(const Workload& workload, const std::string& logPath, size_t features) {
  constexpr size_t kRulesInArray = 50;
  Json::Value root;
  for (size_t feature = 0; feature < features; ++feature) {
    size_t count = 0;
    for (const FeatureRule& rule : workload.rules) {
      // An array is read up to its 50th element: two arrays of one entry hold a hundred rules.
      Json::Value& entry = root["featureFrame" + std::to_string(feature)];
      entry["dirOrFile"] = logPath;
      entry["featureId"] = "KX_bench_" + std::to_string(feature);
      entry["skip"] = 1 << 30;
      if (!entry.isMember("rules")) entry["rules"] = Json::arrayValue;
      const bool isPlain = rule.command == "rules" || ++count + kRulesInArray <= workload.rules.size();
      entry[isPlain ? "rules" : "segmentRule"].append(ToJson(rule));
    }
  }
  return Write(root);
}

std::string AssembleRuleFile(const Workload& workload, size_t features) {
  Json::Value root;
  for (size_t feature = 0; feature < features; ++feature) {
    Json::Value& templates = root["bench"]["KX_bench_" + std::to_string(feature)];
    for (const FeatureRule& rule : workload.rules) {
      for (const auto& [key, pattern] : rule.params) templates[rule.name + key] = rule.name + "." + key;
    }
  }
  return Write(root);
}

std::string LargeRuleFile(size_t entries, size_t rules, const std::string& logPath) {
  Random random(5);
  Json::Value root;
  for (size_t i = 0; i < entries; ++i) {
    Json::Value& entry = root["featureFrame" + std::to_string(i)];
    entry["dirOrFile"] = logPath;
    entry["featureId"] = "KX_bench_" + std::to_string(i);
    for (size_t k = 0; k < rules; ++k) {
      const std::string name = "rule" + std::to_string(k);
      entry[k < rules / 2 ? "rules" : "segmentRule"].append(
          ToJson(SegmentRule(name, random.pick(kVerbs) + "@&@" + random.pick(kNouns), "=(\\w+) " + random.hex(6))));
    }
  }
  return Write(root);
}

std::string UnknownMembersFile(size_t count) {
  Json::Value root;
  Json::Value& entry = root["featureFrame"];
  entry["dirOrFile"] = "/data";
  entry["featureId"] = "KX_bench_0";
  entry["rules"].append(ToJson(SegmentRule("rule", "failed", "(\\w+)")));
  for (size_t i = 0; i < count; ++i) entry["unknown" + std::to_string(i)] = "text";
  return Write(root);
}

std::string MakeTrace(TraceKind kind, size_t lines) {
  Random random(6);
  std::string trace;
  for (size_t i = 0; i < lines; ++i) {
    switch (kind) {
      case TraceKind::kJava:
        trace +=
            i % 50 == 49 ? "Caused by: java.io.IOException: no " + random.pick(kNouns) : "    " + JavaFrame(random);
        break;
      case TraceKind::kNative:
        trace += "      " + NativeFrame(random, i % 100);
        break;
      case TraceKind::kKernel:
        trace += " " + KernelFrame(random);
        break;
    }
    trace += "\n";
  }
  return trace;
}
