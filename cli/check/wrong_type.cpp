#include "cli/check/wrong_type.h"

#include <string_view>
#include <utility>

#include "cli/check/checks.h"
#include "cli/output/lines.h"
#include "rules/rule_syntax.h"

namespace {

constexpr std::string_view kProcessEnds = "the device process ends here";  // how the findings that count end

}  // namespace

std::string WrongTypeInRules(const std::string& configDir, const std::string& reason) {
  const std::string matchPath = MatchRuleFile(configDir);
  const std::pair<std::string, ObjectKind> files[] = {{matchPath, ObjectKind::kMatchRoot},
                                                      {AssembleRuleFile(configDir), ObjectKind::kAssembleRoot}};
  for (const auto& [path, root] : files) {
    const JsonFile file(path);
    Findings findings;
    CheckStructure(file, root, findings);
    for (const Finding& finding : findings.sorted(file)) {
      if (finding.code != Code::kValueType || !finding.message.ends_with(kProcessEnds)) continue;
      const TextPlace place = LineIndex(file.text).placeOf(finding.span.begin);
      return path + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) + ": " + finding.message;
    }
  }
  return matchPath + ": a value has the wrong type: " + reason;
}
