#ifndef TESTS_SUPPORT_RULE_TEXT_H
#define TESTS_SUPPORT_RULE_TEXT_H

#include <json/json.h>

#include <list>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "rules/rule_records.h"

using Texts = std::vector<std::string>;
using TextMap = std::map<std::string, std::string>;

// The value of a JSON text; text that is not JSON fails the test.
inline Json::Value ParseJson(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}

// Each rule whole, on a line: "<command> <num> <name> [<keyWords>] [<depend>] <key>=<value>...".
inline Texts RuleTexts(const std::list<FeatureRule>& rules) {
  Texts texts;
  for (const FeatureRule& rule : rules) {
    std::string params;
    for (const auto& [key, value] : rule.params) params += " " + key + "=" + value;
    texts.push_back(rule.command + " " + std::to_string(rule.num) + " " + rule.name + " [" + rule.keyWords + "] [" +
                    rule.depend + "]" + params);
  }
  return texts;
}

#endif  // TESTS_SUPPORT_RULE_TEXT_H
