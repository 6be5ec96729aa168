#include <android-base/properties.h>

#include "regex/regex.h"
#include "rules/match_rule.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"
#include "util/string_util.h"

namespace {

std::string WithSlash(std::string path) {
  if (!path.ends_with('/')) path += '/';
  return path;
}

}  // namespace

std::string FollowSegments(const std::string& logPath, const std::string& dir, const std::string& alternative) {
  std::vector<std::string> segments;
  StringUtil::SplitStr(alternative, std::string(kPathSeparator), segments, false, false);
  std::string path = WithSlash(dir);
  for (const std::string& segment : segments) {
    const std::string candidate = path + segment;
    path = WithSlash(Regex(candidate).matchesWhole(logPath) ? logPath : candidate);
  }
  path.pop_back();
  return path;
}

bool MatchRule::isFeatureMatched(const std::string& eventType, const std::string& featureId) const {
  return EventTypeOf(featureId) == eventType;
}

bool MatchRule::isPathMatched(const std::string& logPath, const std::string& dirOrFile, const std::string& subcataLog,
                              std::string& out) const {
  out = logPath;
  if (android::base::GetBoolProperty(kDebugProperty, false)) return true;
  if (subcataLog.empty()) {
    out = dirOrFile;
    return FileUtil::FileExists(out);
  }
  std::vector<std::string> alternatives;
  StringUtil::SplitStr(subcataLog, std::string(kOrMark), alternatives, false, false);
  for (const std::string& alternative : alternatives) {
    out = FollowSegments(logPath, dirOrFile, alternative);
    if (FileUtil::FileExists(out) && out == logPath) return true;
  }
  return false;
}
