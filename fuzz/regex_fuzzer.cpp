// Expressions on subjects: the library's own search against std::regex.

#include <regex>

#include "fuzz/input.h"
#include "regex/regex.h"
#include "tests/support/standard_search.h"

namespace {

bool IsLoop(const RegexNode& node) { return node.kind == RegexNode::Kind::kRepeat && node.max != 1; }
bool IsBranch(const RegexNode& node) {
  return node.kind == RegexNode::Kind::kRepeat || node.kind == RegexNode::Kind::kChoice;
}

// Whether std::regex comes to an end: its time grows by a factor with each byte where the rounds of a loop differ, and
// with each choice of an expression.
bool StandardSearchEnds(const std::string& expression, const std::string& subject) {
  constexpr size_t kFewBytes = 12;
  constexpr size_t kMaxExpression = 80;
  if (expression.size() > kMaxExpression) return false;
  return subject.size() <= kFewBytes || !Holds(ReadRegex(expression).tree->root, [](const RegexNode& node) {
           return IsLoop(node) && Holds(node.parts[0], IsBranch);
         });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const std::string expression = input.expression();
  if (DiffersFromGnu(expression)) return 0;
  const std::string subject = input.ConsumeRemainingBytesAsString();
  if (!StandardSearchEnds(expression, subject)) return 0;
  Regex regex(expression);
  const std::regex standard(expression);
  std::smatch expected;
  Regex::Match match;
  FUZZ_CHECK(regex.groupCount() == standard.mark_count());
  // The second search goes by what the first one has kept.
  regex.search(subject, match);
  const bool found = regex.search(subject, match);
  FUZZ_CHECK(found == std::regex_search(subject, expected, standard));
  FUZZ_CHECK(regex.matchesWhole(subject) == std::regex_match(subject, standard));
  if (!found) return 0;
  FUZZ_CHECK(match.whole == expected.str(0) && match.whole.data() == subject.data() + expected.position(0));
  FUZZ_CHECK(match.group.empty() || match.group == expected.str(1));
  return 0;
}
