#include "cli/rule_files/path_reason.h"

#include "cli/output/terminal.h"
#include "cli/rule_files/rule_texts.h"
#include "cli/rule_files/spelling.h"
#include "regex/regex.h"
#include "rules/rule_syntax.h"

namespace {

// How one alternative of "subcataLog" fails. The library reads each segment behind the directory as one expression with
// what is before it: the first one that no beginning of the path meets is the one that fails.
std::string FailureOf(const std::string& logPath, const std::string& dirOrFile, const std::string& alternative) {
  std::string reached = dirOrFile.ends_with('/') ? dirOrFile.substr(0, dirOrFile.size() - 1) : dirOrFile;
  const auto leadsOn = [&logPath](const std::string& expression) {
    return Regex("(?:" + expression + ")(?:/.*)?").matchesWhole(logPath);
  };
  if (!leadsOn(reached)) return "the log is not below " + Quoted(dirOrFile);
  for (const Piece& segment : PiecesOf(alternative, "/")) {
    reached += "/" + segment.text;
    if (!leadsOn(reached)) return "segment " + Quoted(segment.text) + " of " + Quoted(alternative) + " does not match";
  }
  return Quoted(alternative) + " matches, but not to the end of the path";
}

}  // namespace

std::string WhyPathRefused(const std::string& logPath, const std::string& dirOrFile, const std::string& subcataLog) {
  std::string why;
  for (const Piece& alternative : PiecesOf(subcataLog, std::string(kOrMark))) {
    const std::string failure = FailureOf(logPath, dirOrFile, alternative.text);
    if (why.find(failure) != std::string::npos) continue;
    why += (why.empty() ? "" : "; ") + failure;
  }
  return why.empty() ? "\"subcataLog\" holds no alternative" : why;
}
