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

bool MatchRule::exists(const std::string& path, const std::string& logPath) const {
  return standIn_.empty() ? FileUtil::FileExists(path) : path == logPath;
}

bool MatchRule::isPathMatched(const std::string& logPath, const std::string& dirOrFile, const std::string& subcataLog,
                              std::string& out) const {
  out = logPath;
  if (standIn_.empty() && android::base::GetBoolProperty(kDebugProperty, false)) return true;
  bool isMatched = false;
  if (subcataLog.empty()) {
    out = dirOrFile;
    isMatched = exists(out, logPath);
  }
  std::vector<std::string> alternatives;
  StringUtil::SplitStr(subcataLog, std::string(kOrMark), alternatives, false, false);
  for (const std::string& alternative : alternatives) {
    out = FollowSegments(logPath, dirOrFile, alternative);
    isMatched = exists(out, logPath) && out == logPath;
    if (isMatched) break;
  }
  if (isMatched && !standIn_.empty()) out = standIn_;
  return isMatched;
}
