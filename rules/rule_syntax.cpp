#include "rules/rule_syntax.h"

#include <algorithm>

#include "util/string_util.h"

std::string MatchRuleFile(const std::string& configDir) { return configDir + "/" + kMatchFileName; }

std::string AssembleRuleFile(const std::string& configDir) { return configDir + "/" + kAssembleFileName; }

std::string EventTypeOf(const std::string& featureId) {
  return StringUtil::GetRleftSubstr(StringUtil::GetRightSubstr(featureId, "_"), "_");
}

std::string PriorityOf(const std::string& featureId) { return StringUtil::GetRightSubstr(featureId, "_"); }

bool BeginsSegment(std::string_view recordName) {
  return std::any_of(kSegmentBegins.begin(), kSegmentBegins.end(),
                     [recordName](std::string_view mark) { return recordName.find(mark) != std::string_view::npos; });
}

KeyWordForm FormOf(std::string_view keyWords) {
  if (keyWords.starts_with(kRegexMark)) return KeyWordForm::kRegex;
  if (keyWords.find(kOrMark) != std::string_view::npos) return KeyWordForm::kOr;
  if (keyWords.find(kAndMark) != std::string_view::npos) return KeyWordForm::kAnd;
  return KeyWordForm::kText;
}

bool TakeTerm(std::string_view& rest, std::string_view mark, std::string_view& term) {
  do {
    if (rest.empty()) return false;
    term = rest.substr(0, rest.find(mark));
    rest.remove_prefix(std::min(rest.size(), term.size() + mark.size()));
  } while (term.empty());
  return true;
}

std::string StackExpression(std::string_view applied) {
  return StringUtil::EraseString(std::string(applied), std::string(kStackMark));
}

std::string RecordName(const std::string& rule, const std::string& param) { return rule + "." + param; }

std::string VariableOf(const std::string& name) { return kOpenMark + name + kCloseMark; }

std::string SeparatorOf(const std::string& templateText) {
  for (const char* separator : {kJoinMark, kReasonSeparator}) {
    if (templateText.find(separator) != std::string::npos) return separator;
  }
  return "";
}
