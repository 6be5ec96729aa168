#include "tools/rule_types.h"

#include <json/json.h>

#include <algorithm>
#include <cstddef>
#include <optional>

#include "rules/rule_file.h"
#include "tools/input.h"
#include "util/file_util.h"

namespace {

struct Place {
  std::string name;
  ptrdiff_t offset;  // in the file, bytes
};
using Found = std::optional<Place>;

Found AsValue(const Json::Value& value, Json::ValueType type, const std::string& name) {
  if (value.isConvertibleTo(type)) return std::nullopt;
  return Place{name, value.getOffsetStart()};
}

// The first of the members `isRead` whose value is not of the type.
template <typename Predicate>
Found InMembers(const Json::Value& object, Json::ValueType type, const std::string& name, Predicate isRead) {
  if (!object.isObject()) return std::nullopt;
  for (auto member = object.begin(); member != object.end(); ++member) {
    if (!isRead(member.name())) continue;
    if (Found found = AsValue(*member, type, name + "." + member.name())) return found;
  }
  return std::nullopt;
}

template <typename Check>
Found InElements(const Json::Value& array, const std::string& name, Check check) {
  for (Json::ArrayIndex i = 0; i < ElementCount(array); ++i) {
    if (Found found = check(array[i], name + "[" + std::to_string(i) + "]")) return found;
  }
  return std::nullopt;
}

Found InRule(const Json::Value& rule, const std::string& name) {
  Found found = InMembers(rule, Json::stringValue, name, [](const std::string& key) {
    return key == "name" || key == "depend" || key == "keyWords" || key.starts_with("v_");
  });
  return found ? found : InMembers(rule, Json::intValue, name, [](const std::string& key) { return key == "num"; });
}

Found InFrame(const Json::Value& frame, const std::string& name) {
  Found found = InMembers(frame, Json::stringValue, name, [](const std::string& key) {
    return key == "dirOrFile" || key == "subcataLog" || key == "featureId" || key == "segmentType";
  });
  if (!found) found = InMembers(frame, Json::intValue, name, [](const std::string& key) { return key == "skip"; });
  for (const char* key : {"segmentStart", "segmentStack"}) {
    if (found) break;
    found = InElements(Member(frame, key), name + "." + key, [](const Json::Value& text, const std::string& place) {
      return AsValue(text, Json::stringValue, place);
    });
  }
  for (const char* key : {"rules", "segmentRule"}) {
    if (!found) found = InElements(Member(frame, key), name + "." + key, InRule);
  }
  return found;
}

Found InMatchRules(const Json::Value& root) {
  Found found = InElements(Member(root, "segmentFrame"), "segmentFrame", InRule);
  if (!root.isObject()) return found;
  for (auto member = root.begin(); !found && member != root.end(); ++member) {
    if (member.name().find("featureFrame") != std::string::npos) found = InFrame(*member, member.name());
  }
  return found;
}

Found InAssembleRules(const Json::Value& root) {
  if (!root.isObject()) return std::nullopt;
  for (auto section = root.begin(); section != root.end(); ++section) {
    if (!section->isObject()) continue;
    for (auto feature = section->begin(); feature != section->end(); ++feature) {
      const std::string name = section.name() + "." + feature.name();
      if (Found found = InMembers(*feature, Json::stringValue, name, [](const std::string&) { return true; })) {
        return found;
      }
    }
  }
  return std::nullopt;
}

std::string PlaceIn(const std::string& path, Found (*find)(const Json::Value& root)) {
  Json::Value root;
  std::string content;
  if (!ReadRuleFile(path, root) || !FileUtil::LoadStringFromFile(path, content)) return "";
  const Found found = find(root);
  if (!found) return "";
  const auto line = std::count(content.begin(), content.begin() + found->offset, '\n') + 1;
  return "Line " + std::to_string(line) + ", " + found->name;
}

}  // namespace

std::string WrongTypeInRules(const std::string& configDir, const std::string& reason) {
  std::string file = MatchRuleFile(configDir);
  std::string place = PlaceIn(file, InMatchRules);
  if (place.empty()) {
    file = AssembleRuleFile(configDir);
    place = PlaceIn(file, InAssembleRules);
  }
  return file + ": " + place + ": a value has the wrong type: " + reason;
}
