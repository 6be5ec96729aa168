#include "cli/fleet/golden_case.h"

#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "cli/library/input.h"
#include "cli/library/log_file.h"
#include "cli/output/json_text.h"
#include "cli/output/lines.h"
#include "cli/output/output_file.h"
#include "cli/output/terminal.h"
#include "stack/stack_tables.h"

namespace {

namespace fs = std::filesystem;

bool FollowsFromStack(const std::string& key) {
  return key == kFingerprintKey || std::find(kFrameKeys.begin(), kFrameKeys.end(), key) != kFrameKeys.end();
}

std::string TextOf(const std::string& path) {
  CheckReadableFile(path);
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string LineOf(const std::string& path) {
  const std::string text = TextOf(path);
  return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

std::string DevicePathIn(const std::string& file, const std::string& log) {
  try {
    return DevicePath(LineOf(file), log);
  } catch (const InputError& error) {
    throw InputError(file, error.reason());
  }
}

// The text of an expected value; of an array, its lines. Nothing when it is neither.
std::optional<std::string> TextIn(const Json::Value& value) {
  if (value.isString()) return value.asString();
  if (!value.isArray()) return std::nullopt;
  std::string lines;
  for (const Json::Value& line : value) {
    if (!line.isString()) return std::nullopt;
    lines += line.asString() + "\n";
  }
  return lines;
}

void ReadExpected(const std::string& path, GoldenCase& golden) {
  if (!fs::exists(path)) return;
  Json::Value root;
  if (!ReadJsonObject(TextOf(path), root)) throw InputError(path, "not a JSON object");
  golden.expected.emplace();
  for (const std::string& key : root.getMemberNames()) {
    const std::optional<std::string> text = TextIn(root[key]);
    if (!text) throw InputError(path, "the value of " + Quoted(key) + " is neither a text nor an array of lines");
    (*golden.expected)[key] = *text;
    if (root[key].isArray()) golden.inLines.insert(key);
  }
}

// The log of a case folder; the plain name when it has none.
std::string LogIn(const std::string& folder) {
  for (const char* name : {"/log.txt.gz", "/log.txt.zst"}) {
    if (!fs::exists(folder + "/log.txt") && fs::exists(folder + name)) return folder + name;
  }
  return folder + "/log.txt";
}

GoldenCase Read(const std::string& path, const std::string& configDir) {
  GoldenCase golden;
  golden.path = path;
  golden.run = {{LogIn(path), "", ""}, configDir};
  try {
    if (!fs::exists(golden.run.log.path)) throw InputError(path, "has no log.txt");
    golden.run.log.event = LineOf(path + "/event");
    if (fs::is_directory(path + "/rules")) golden.run.config = path + "/rules";
    if (golden.run.config.empty()) throw InputError(path, "has no folder rules; --config names rules for all cases");
    if (fs::exists(path + "/path")) golden.run.log.as = DevicePathIn(path + "/path", golden.run.log.path);
    ReadExpected(path + "/expected.json", golden);
  } catch (const InputError& error) {
    golden.fault = error.what();
  }
  return golden;
}

// Whether it is meant to be a case, even if its log is missing or has another name.
bool IsCase(const std::string& folder) {
  return fs::exists(LogIn(folder)) || fs::is_regular_file(folder + "/event") || fs::exists(folder + "/expected.json");
}

void AppendCases(const std::string& path, const std::string& configDir, std::vector<GoldenCase>& cases) {
  if (IsCase(path)) {
    cases.push_back(Read(path, configDir));
    return;
  }
  std::vector<std::string> folders;
  std::error_code error;
  for (const auto& item : fs::directory_iterator(path, error)) {
    if (item.is_directory() && !item.is_symlink()) folders.push_back(item.path().string());
  }
  if (error) throw InputError(path, error.message());
  std::sort(folders.begin(), folders.end());
  for (const std::string& folder : folders) AppendCases(folder, configDir, cases);
}

}  // namespace

std::vector<GoldenCase> FindGoldenCases(const std::vector<std::string>& paths, const std::string& configDir) {
  std::vector<GoldenCase> cases;
  for (std::string path : paths) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    const size_t before = cases.size();
    AppendCases(path, configDir, cases);
    if (cases.size() == before) throw InputError(path, "holds no case, which is a folder with a log.txt");
  }
  return cases;
}

std::vector<std::string> Differences(const TextMap& expected, const TextMap& actual) {
  std::set<std::string> keys;
  for (const TextMap* map : {&expected, &actual}) {
    for (const auto& [key, value] : *map) keys.insert(key);
  }
  std::vector<std::string> differing;
  for (const std::string& key : keys) {
    const auto a = expected.find(key);
    const auto b = actual.find(key);
    if (a == expected.end() || b == actual.end() || a->second != b->second) differing.push_back(key);
  }
  std::stable_partition(differing.begin(), differing.end(),
                        [](const std::string& key) { return !FollowsFromStack(key); });
  return differing;
}

TextMap ExpectedOf(const GoldenCase& golden, const TextMap& actual) {
  TextMap expected = golden.expected.value_or(TextMap());
  for (const auto& [key, value] : actual) {
    if (golden.inLines.count(key) > 0 && LinesOf(expected[key]) == LinesOf(value)) expected[key] = value;
  }
  return expected;
}

void UpdateExpected(const GoldenCase& golden, const TextMap& actual) {
  Json::Value root(Json::objectValue);
  for (const auto& [key, value] : actual) {
    const bool isInLines = !golden.inLines.empty() && value.find('\n') != std::string::npos;
    root[key] = isInLines ? JsonTexts(LinesOf(value)) : Json::Value(value);
  }
  std::string text = JsonPage(root, /*isTight=*/true);
  const std::string bracket = ": \n  [";  // no text holds a line feed as it is
  for (size_t at = text.find(bracket); at != std::string::npos; at = text.find(bracket, at)) {
    text.replace(at, bracket.size(), ": [");
  }
  WriteWholeFile(golden.path + "/expected.json", text);
}
