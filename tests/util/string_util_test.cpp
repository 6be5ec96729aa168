#include "util/string_util.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

namespace {

using Strings = std::vector<std::string>;
using Text = const std::string&;
using S = StringUtil;

// Each row holds the arguments and the result of a call, "|" between them.
template <typename... Args>
void Check(std::string (*call)(Args...), const Strings& rows) {
  for (const std::string& row : rows) {
    Strings cells;
    std::istringstream stream(row + "|");
    for (std::string cell; std::getline(stream, cell, '|');) cells.push_back(cell);
    ASSERT_EQ(sizeof...(Args) + 1, cells.size()) << row;
    const auto apply = [&]<size_t... i>(std::index_sequence<i...>) { return call(cells[i]...); };
    EXPECT_EQ(cells.back(), apply(std::index_sequence_for<Args...>())) << row;
  }
}

std::string Split(Text s, Text delim, Text options) {
  Strings out = {"old"};
  S::SplitStr(s, delim, out, options.find("keep") != options.npos, options.find("trim") != options.npos);
  std::string pieces;
  for (const std::string& piece : out) pieces += piece + ";";
  return pieces;
}

std::string ReadKeyValue(Text s, Text from) {
  size_t pos = std::stoul(from);
  const KeyValue item = S::GetKeyValueByString(pos, s);
  EXPECT_FALSE(item.flag);
  return item.key + "=" + item.value + " to " + std::to_string(pos);
}

std::string ReadInt(Text s) {
  int out = 99;
  const bool ok = S::StrToInt(s, out);
  EXPECT_EQ(ok ? out : -1, S::StrToInt(s)) << s;
  return (ok ? "" : "no, ") + std::to_string(out);
}

}  // namespace

TEST(StringUtil, CutsAtASeparator) {
  Check(S::GetLeftSubstr, {"a/b/c|/|a", "abc|x|abc", "|x|", "/a|/|", "a::b|::|a", "abc||"});
  Check(S::GetRightSubstr, {"a/b/c|/|b/c", "abc|x|none", "|x|none", "a/|/|", "a:::b|::|:b", "abc||abc"});
  Check(S::GetRleftSubstr, {"a/b/c|/|a/b", "abc|x|abc", "|x|", "/a|/|", "a:::b|::|a:", "abc||abc"});
  Check(S::GetRrightSubstr, {"a/b/c|/|c", "abc|x|none", "|x|none", "a/|/|", "a::b|::|:b"});
  EXPECT_THROW(S::GetRrightSubstr("abc", ""), std::out_of_range);
  Check(S::GetMidSubstr, {"x]1[2]3]|[|]|2", "x[1|[|]|", "x1]|[|]|", "x[1]|[||", "[]||]|[", "aaa|aa|aa|"});
  Check(+[](Text s, Text first, Text n, Text end) { return S::FindMatchSubString(s, first, std::stoi(n), end); },
        {"xx:ab;cdefgh|:|1|;|ab;cd", "x;ab:cd|:;|1|,:|ab:c", ":;b|:|1|;|;", "x:ab|:|1||ab", "x:ab|:|3|b|",
         "x:ab|:|4|b|", "x:ab|:|-1|:|x", "x:ab|:|-2|b|", "x:ab||0|b|", "|:|0|b|", "x:ab|?|0|b|"});
}

TEST(StringUtil, Edits) {
  Check(+[](Text s) { return S::TrimStr(s, 'x'); }, {"xx\txax|\txa", "xxx|", "|", "a|a"});
  Check(S::ReplaceStr, {"aXbX|X|YXY|aYXYbYXY", "aaa|aa|b|ba", "aabb|ab||ab", "abc||x|abc"});
  Check(S::EraseString, {"ababcc|abc|abc", "abc||abc", "|a|"});
}

// Short texts of "a" and "b" are held against the erase-and-rescan loop whose result is wanted.
TEST(StringUtil, ErasesWhatARemovalForms) {
  for (const std::string sub : {"a", "ab", "aab", "aba", "abb", "abab"}) {
    for (unsigned bits = 1; bits < 1024; ++bits) {
      std::string s;
      for (unsigned rest = bits; rest > 1; rest /= 2) s += rest % 2 == 0 ? 'a' : 'b';
      std::string left = s;
      for (size_t at = s.find(sub); at != s.npos; at = left.find(sub, at == 0 ? 0 : at - 1)) left.erase(at, sub.size());
      ASSERT_EQ(left, S::EraseString(s, sub)) << s << " without " << sub;
    }
  }
}

TEST(StringUtil, SplitsAndJoins) {
  Check(Split, {" a , ,b |,|| a ; ;b ;", " a , ,b |,|trim|a;b;", " a , ,b |,|keep trim|a;;b;", ",a,|,||a;",
                ",a,|,|keep|;a;;", "|,|keep|;", "|,||", "\ta|,|trim|\ta;", "a::::b:|::|keep|a;;b:;", " a,b ||trim|a,b;",
                " a b | |keep trim|a;b;"});
  using List = std::list<std::string>;
  EXPECT_EQ((List{"", " a", "", "b"}), S::SplitStr(", a,,b,", ','));
  EXPECT_EQ(List{}, S::SplitStr("", ','));
  Check(ReadKeyValue,
        {"k1:a::1;;x;k2:bb|0|k1=a:1;x to 11", "k1:a::1;;x;k2:bb|11|k2=bb to 16", "k:v|3|= to 3", "k:v|9|= to 9",
         "k;x:v;|0|k;x=v to 6", "key|1|ey= to 3", "k:;n:|0|k= to 3", "k:a:b;|0|k=a:b to 6", "k:a;;;b|0|k=a; to 6",
         ":a:|0|=a: to 3", "k:a;;|0|k=a; to 5", "k:::;;|0|k=:; to 6"});
  EXPECT_EQ("a,,b,", S::ConvertVectorToStr({"", "a", "", "b", ""}, ","));
  EXPECT_EQ("a;b;", S::VectorToString({"", "a", "", "b"}, false, ";"));
  EXPECT_EQ("b;a;", S::VectorToString({"a", "", "b"}, true, ";"));
}

TEST(StringUtil, ReadsNumbers) {
  Check(ReadInt, {"0|0", "-7|-7", "007|7", "2147483648|-2147483648", "4294967297|1", "9223372036854775807|-1",
                  "|no, 99", "-|no, 99", "--1|no, 99", "+1|no, 99", " 12|no, 99", "12 |no, 99", "12a|no, 99",
                  "0x1|no, 99", "1.0|no, 99", "9223372036854775808|no, 99", std::string("12\0|no, 99", 10)});
  Check(+[](Text s, Text base) { return std::to_string(S::StringToUl(s, std::stoi(base))); },
        {" +12x|10|12", "ffz|16|255", "-1|10|0", "x|10|0", "99999999999999999999|10|0"});
  Check(+[](Text s) { return std::to_string(S::StringToDouble(s)); },
        {"1.5x|1.500000", "-2e3|-2000.000000", "|0.000000", "x|0.000000", "1e999|0.000000"});
  for (const char* s : {"15", "1.5", "0"}) EXPECT_TRUE(S::IsValidFloatNum(s)) << s;
  for (const char* s : {"", ".", "1.", ".5", "1.2.3", "-1", "1e5", "1 2"}) EXPECT_FALSE(S::IsValidFloatNum(s)) << s;
  EXPECT_EQ("0", S::DexToHexString(0, true));
  EXPECT_EQ("ff", S::DexToHexString(255, false));
  EXPECT_EQ("FFFFFFFE", S::DexToHexString(-2, true));
}

TEST(StringUtil, EscapesJsonValues) {
  Check(S::EscapeJsonStringValue, {"a\b\t\n\f\r\"\\/\v\xc3|a\\b\\t\\n\\f\\r\\\"\\\\/\v\xc3", "|"});
  Check(S::UnescapeJsonStringValue, {"a\\tb|a\tb", "nab|\nab", "\\nab|\\nab", "\\|\\", "a\\|a", "a\\\\n|a\\n", "|",
                                     "xn\\u0041|xnu0041", "x\\b\\f\\n\\r\\/|x\b\f\n\r/"});
}
