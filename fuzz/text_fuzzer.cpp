// The string helpers and the cutting of a trace.

#include <sstream>

#include "fuzz/input.h"
#include "regex/regex.h"
#include "util/file_util.h"
#include "util/string_util.h"

namespace {

void CheckSplitting(const std::string& text, const std::string& mark) {
  std::vector<std::string> pieces;
  StringUtil::SplitStr(text, mark, pieces, true, false);
  std::string joined = pieces[0];
  for (size_t i = 1; i < pieces.size(); ++i) joined += mark + pieces[i];
  FUZZ_CHECK(joined == text);
  StringUtil::SplitStr(text, mark, pieces, false, true);
  for (const std::string& piece : pieces) FUZZ_CHECK(!piece.empty() && piece == StringUtil::TrimStr(piece, ' '));
  joined.clear();
  for (const std::string& piece : StringUtil::SplitStr(text, '\n')) joined += piece + "\n";
  FUZZ_CHECK(joined == text || joined == text + "\n");
  size_t pos = 0;
  for (size_t before = text.size() + 1; pos < text.size() && pos != before;) {
    before = pos;
    StringUtil::GetKeyValueByString(pos, text);
  }
  FUZZ_CHECK(pos == text.size());
}

void CheckEditing(const std::string& text, const std::string& mark) {
  FUZZ_CHECK(StringUtil::ReplaceStr(text, mark, mark) == text);
  const std::string left = StringUtil::GetLeftSubstr(text, mark);
  FUZZ_CHECK(left == text || left + mark + StringUtil::GetRightSubstr(text, mark) == text);
  FUZZ_CHECK(StringUtil::EraseString(text, mark).size() <= text.size());
  StringUtil::GetMidSubstr(text, mark, "\n");
  StringUtil::FindMatchSubString(text, mark, static_cast<int>(text.size()) - 9, "\n");
  int number = 0;
  if (StringUtil::StrToInt(text, number)) FUZZ_CHECK(StringUtil::StrToInt(text) == number);
  StringUtil::StringToUl(text, 16);
  StringUtil::StringToDouble(text);
  // The first byte is read as if a backslash stood before it.
  const std::string quoted = "\"" + text;
  FUZZ_CHECK(StringUtil::UnescapeJsonStringValue(StringUtil::EscapeJsonStringValue(quoted).substr(1)) == quoted);
}

// The frames of the first trace. What an expression finds in one line is held against std::regex elsewhere.
std::string PlainTrace(const std::string& text, const std::string& expression) {
  Regex frame(expression);
  std::istringstream lines(text);
  std::string trace;
  std::string line;
  int misses = -1;  // none as long as the trace has not begun
  for (int i = 0; i < 200 && std::getline(lines, line); ++i) {
    if (line.size() > 2048) continue;
    if (line.empty() || misses > 3) break;
    Regex::Match match;
    if (frame.search(line, match)) {
      trace.append(match.whole).append("\n");
      misses = 0;
    } else if (misses >= 0) {
      ++misses;
    }
  }
  return trace;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const std::string mark = input.pick({"@|@", "\n", "_", "aab", "::", ";"});
  const std::string expression = input.expression();
  const std::string text = input.ConsumeRemainingBytesAsString();
  CheckSplitting(text, mark);
  CheckEditing(text, mark);
  std::stringstream buffer(text);
  std::string trace;
  FileUtil::GetTrace(buffer, 0, expression, trace, "");
  FUZZ_CHECK(trace == PlainTrace(text, expression));
  return 0;
}
