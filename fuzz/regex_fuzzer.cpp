// Expressions on subjects: the library's own search against std::regex.

#include <regex>

#include "fuzz/input.h"
#include "regex/regex.h"
#include "tests/support/standard_search.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const std::string expression = input.expression();
  if (DiffersFromGnu(expression)) return 0;
  const std::string subject = input.ConsumeRemainingBytesAsString();
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
