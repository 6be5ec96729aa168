#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "cli/commands/commands.h"
#include "cli/commands/shared_options.h"
#include "cli/fleet/explanation_pages.h"
#include "cli/fleet/group_table.h"
#include "cli/fleet/stability.h"
#include "cli/library/input.h"
#include "cli/library/no_fingerprint.h"
#include "cli/output/json_text.h"
#include "cli/output/lines.h"
#include "cli/output/output_file.h"
#include "cli/output/page_shell.h"
#include "cli/output/terminal.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

// Embedded when the program is built.
extern const std::string_view kGroupsPageScript;

namespace {

struct Options {
  std::vector<std::string> files = {"-"};
  std::string key = kFingerprintKey;
  std::string format = "text";
  std::string file;  // empty: standard output
  bool stability = false;
  std::string configDir;     // of the rules, for explanations
  std::string explanations;  // folder of their pages; empty: none
};

constexpr size_t kTopFrames = 3;
constexpr size_t kMaxComplaints = 10;  // about single lines

constexpr char kExample[] =
    "Example:\n"
    "  kestrix batch --config rules --event java_crash logs | kestrix groups\n"
    "  kestrix groups results.ndjson --format html -o groups.html --explain pages --config rules\n"
    "\n"
    "Exit status: 0 there are groups, 1 there is none or a line cannot be read, 2 wrong usage or a file that cannot be "
    "read.";

struct Input {
  GroupTable table;
  size_t grouped = 0;  // logs
  size_t without = 0;  // the key
  size_t empty = 0;    // stacks, whose fingerprint is none
  size_t failed = 0;
  size_t unreadable = 0;  // lines
};

// --- Reading ---

std::string TextIn(const Json::Value& object, const char* name) {
  return object[name].isString() ? object[name].asString() : "";
}

bool AddLine(const std::string& line, const Options& options, Input& input) {
  Json::Value root;
  if (!ReadJsonObject(line, root) || !root["path"].isString()) return false;
  if (root.isMember("error")) {
    ++input.failed;
    return true;
  }
  const Json::Value& results = root["results"];
  if (!results.isObject()) return false;
  const Json::Value& value = results[options.key];
  const Json::Value& stack = results[kStackKey];
  if (options.key == kFingerprintKey && value == Json::Value(kNoFingerprint)) {
    ++input.empty;
  } else if (value.isString()) {
    input.table.add(value.asString(), root["path"].asString(), stack.isString() ? stack.asString() : "",
                    TextIn(results, kReasonKey), TextIn(root, "event"));
    ++input.grouped;
  } else {
    ++input.without;
  }
  return true;
}

void AddLines(std::istream& stream, const std::string& name, const Options& options, Input& input) {
  size_t number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.empty() || AddLine(line, options, input)) continue;
    if (++input.unreadable > kMaxComplaints) continue;
    std::cerr << "kestrix: " << name << ":" << number << ": not a line of kestrix batch\n";
  }
}

Input Read(const Options& options) {
  Input input;
  for (const std::string& file : options.files) {
    if (file == "-") {
      AddLines(std::cin, "standard input", options, input);
      if (std::ferror(stdin) != 0) throw InputError("standard input", std::generic_category().message(errno));
      continue;
    }
    std::error_code ignored;
    const bool isFolder = std::filesystem::is_directory(file, ignored);
    std::ifstream stream(file, std::ios::binary);
    if (isFolder || !stream) throw InputError(file, std::generic_category().message(isFolder ? EISDIR : errno));
    AddLines(stream, file, options, input);
  }
  if (input.unreadable > kMaxComplaints) {
    std::cerr << "kestrix: and " << Counted(input.unreadable - kMaxComplaints, "more line")
              << " not of kestrix batch\n";
  }
  return input;
}

// --- Text ---

std::string Percent(size_t count, size_t all) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f%%", 100.0 * static_cast<double>(count) / static_cast<double>(all));
  return text.data();
}

std::string Shown(const std::string& value) {
  const std::vector<std::string> lines = LinesOf(value);
  if (lines.size() < 2) return LineForPeople(value);
  return LineForPeople(lines.front()) + " (and " + std::to_string(lines.size() - 1) + " more lines)";
}

std::vector<std::string> TopFrames(const Group& group) {
  std::vector<std::string> frames = FramesOf(group.stack);
  frames.resize(std::min(frames.size(), kTopFrames));
  return frames;
}

void PrintStability(const std::vector<Group>& groups, std::ostream& out) {
  const std::vector<Variant> variants = StabilityOf(groups);
  out << "\n" << groups.size() << " groups as they are, and what there would be\n";
  for (const Variant& variant : variants) {
    out << std::setw(8) << variant.groupCount << "  " << variant.what << '\n';
  }
  std::set<std::vector<std::string>>
      shown;  // a pair that one mask merges is merged by "all of these" too: once is enough
  for (const Variant& variant : variants) {
    for (const Merging& merging : variant.merging) {
      if (!shown.insert(merging.values).second) continue;
      out << "\n" << variant.what << ", one group of " << merging.logs << " logs:\n";
      for (const std::string& value : merging.values) out << "    " << Shown(value) << '\n';
      out << "  which differ first in\n";
      for (const std::string& line : {merging.differs.first, merging.differs.second}) {
        out << "    " << LineForPeople(line) << '\n';
      }
    }
  }
}

void PrintAsText(const std::vector<Group>& groups, const Input& input, const Options& options, std::ostream& out) {
  for (const Group& group : groups) {
    out << std::setw(8) << group.count << std::setw(8) << Percent(group.count, input.grouped) << "  "
        << Shown(group.value) << '\n';
    const std::string indent(18, ' ');
    for (const std::string& frame : TopFrames(group)) out << indent << LineForPeople(frame) << '\n';
    out << indent << "first: " << LineForPeople(group.first) << '\n';
    if (group.count > 1) out << indent << "last: " << LineForPeople(group.last) << '\n';
  }
  out << Counted(groups.size(), "group") << " of " << Counted(input.grouped, "log") << "; " << input.without
      << " without " << LineForPeople(options.key) << ", " << input.failed << " failed";
  if (input.empty > 0) {
    out << ", " << input.empty << " with an empty stack, whose FINGERPRINT \"" << kNoFingerprint << "\" is none";
  }
  out << '\n';
  if (options.stability) PrintStability(groups, out);
}

// --- JSON ---

Json::Value ToJson(const Variant& variant) {
  Json::Value object;
  object["what"] = variant.what;
  object["groups"] = JsonNumber(variant.groupCount);
  object["merging"] = Json::arrayValue;
  for (const Merging& merging : variant.merging) {
    Json::Value item;
    item["values"] = JsonTexts(merging.values);
    item["logs"] = JsonNumber(merging.logs);
    item["differs"] = JsonTexts({merging.differs.first, merging.differs.second});
    object["merging"].append(item);
  }
  return object;
}

Json::Value ToJson(const std::vector<Group>& groups, const Input& input, const Options& options) {
  Json::Value root;
  root["by"] = options.key;
  root["logs"] = JsonNumber(input.grouped);
  root["without"] = JsonNumber(input.without);
  root["failed"] = JsonNumber(input.failed);
  root["emptyStacks"] = JsonNumber(input.empty);
  root["groups"] = Json::arrayValue;
  for (const Group& group : groups) {
    Json::Value item;
    item["value"] = group.value;
    item["count"] = JsonNumber(group.count);
    item["share"] = static_cast<double>(group.count) / static_cast<double>(input.grouped);
    item["frames"] = JsonTexts(TopFrames(group));
    item["first"] = group.first;
    item["last"] = group.last;
    root["groups"].append(item);
  }
  if (options.stability) {
    for (const Variant& variant : StabilityOf(groups)) root["stability"].append(ToJson(variant));
  }
  return root;
}

// --- HTML ---

// The links to the explanations of the groups' examples, in their order.
std::vector<std::string> Explain(const std::vector<Group>& groups, const Options& options) {
  std::vector<LogRun> runs;
  for (const Group& group : groups) {
    for (const auto& [path, event] : group.examples) runs.push_back({{path, event, "", ""}, options.configDir});
  }
  return WriteExplanations(runs, {options.explanations, options.file, false, {}});
}

void PrintAsHtml(const std::vector<Group>& groups, const Input& input, Options options, std::ostream& out) {
  std::vector<std::string> links;
  if (!options.explanations.empty()) links = Explain(groups, options);
  auto link = links.begin();
  options.stability = options.key == kFingerprintKey;
  Json::Value root = ToJson(groups, input, options);
  for (Json::ArrayIndex i = 0; i < root["groups"].size(); ++i) {
    Json::Value& item = root["groups"][i];
    item["reason"] = groups[i].reason;
    item["stack"] = groups[i].stack;
    item["examples"] = Json::arrayValue;
    for (const auto& [path, event] : groups[i].examples) {
      Json::Value example;
      example["path"] = path;
      example["event"] = event;
      if (link != links.end()) example["page"] = *link++;
      item["examples"].append(example);
    }
  }
  PrintPage({"kestrix groups", kReportBody, {kGroupsPageScript}}, root, out);
}

void Print(const std::vector<Group>& groups, const Input& input, const Options& options, std::ostream& out) {
  if (options.format == "json") {
    out << JsonLine(ToJson(groups, input, options)) << '\n';
  } else if (options.format == "html") {
    PrintAsHtml(groups, input, options, out);
  } else {
    PrintAsText(groups, input, options, out);
  }
}

ExitStatus Run(const Options& options) {
  CheckExplanations({options.explanations, options.file, false, {}}, options.format);
  const Input input = Read(options);
  const std::vector<Group> groups = input.table.sorted();
  PrintTo(options.file, [&](bool /*inColour*/, std::ostream& out) { Print(groups, input, options, out); });
  return groups.empty() || input.unreadable > 0 ? kNegative : kSuccess;
}

}  // namespace

void AddGroups(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("groups", "Count which logs of kestrix batch fail alike");
  const auto options = std::make_shared<Options>();
  command->add_option("FILE", options->files, "What kestrix batch printed; by default - for standard input")
      ->type_name("");
  CLI::Option* key =
      command->add_option("--by", options->key, "The result to group by, by default " + options->key)->type_name("KEY");
  AddFormatOption(*command, options->format, {"text", "json", "html"});
  AddOutputOption(*command, options->file);
  CLI::Option* config =
      command->add_option("--config", options->configDir, "Directory of the rule files, for the explanations")
          ->type_name("DIR");
  command
      ->add_option("--explain", options->explanations,
                   "With --format html -o FILE: a folder to write the explanation of each group's first logs to; the "
                   "page links to it")
      ->type_name("DIR")
      ->needs(config);
  command
      ->add_flag("--stability", options->stability,
                 "Show which groups would merge if times, line numbers and the like were masked, or with fewer frames")
      ->excludes(key);
  command->footer(kExample);
  command->callback([options, &status] { status = Run(*options); });
}
