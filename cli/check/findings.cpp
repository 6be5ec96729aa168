#include "cli/check/findings.h"

#include <algorithm>
#include <tuple>
#include <utility>

Finding& Findings::add(Code code, const JsonFile& file, Span span, std::string message) {
  return findings_.emplace_back(
      Finding{code, DescriptionOf(code).severity, &file, span, std::move(message), std::nullopt});
}

std::vector<Finding> Findings::sorted(const JsonFile& matchFile) const {
  std::vector<Finding> all = findings_;
  const auto key = [&matchFile](const Finding& f) {
    return std::make_tuple(f.file != &matchFile, f.span.begin, f.code);
  };
  std::stable_sort(all.begin(), all.end(), [&key](const Finding& a, const Finding& b) { return key(a) < key(b); });
  const auto isSame = [&key](const Finding& a, const Finding& b) { return key(a) == key(b); };
  all.erase(std::unique(all.begin(), all.end(), isSame), all.end());
  return all;
}
