#include "stack/frame_name.h"

#include <gtest/gtest.h>

#include <random>
#include <regex>

#include "stack/stack_util.h"

namespace {

struct Scanner {
  const char* expression;
  std::optional<std::string_view> (*scan)(std::string_view line);
};

// In the order in which a name is looked for.
const Scanner kScanners[] = {
    {R"(^\s+at (.*)\).*)", JavaFrameInParentheses},
    {R"(^\s*at (.*))", JavaFrame},
    {R"(#\d+ pc [0-9a-f]+ (.*\+\d+)\))", NativeFrameWithOffset},
    {R"(#\d+ pc [0-9a-f]+ (.*))", NativeFrame},
    {R"(([0-9a-zA-Z_.]+\+0x[0-9a-f]+/0x[0-9a-f]+))", KernelFrame},
    {R"(^\s+- (.*)\(.*)", HyphenLine},
};
constexpr size_t kHyphen = 5;

using namespace std::string_view_literals;

const std::string_view kOpenings[] = {"",   " at ", "at ", "\tat ",        "\n\v at", " - ",
                                      "- ", "\f- ", " -",  "#12 pc 0af3 ", "#1 pc ",  "\r at "};
const std::string_view kFragments[] = {
    "at ", " ",  "\t",  "#12",  "#",   " pc ", "0af3 ", "0af3", "#7 pc a0 ",  "#7 pc a ", "#7  pc a ", "#7 pc A ",
    "(",   ")",  "+12", "+12)", "+)",  "+a)",  "+0x",   "/0x",  "+0x1f/0x20", "+0x1f/20", "+0xG/0x1",  "a.B_9",
    "-",   "==", "=",   "-x==", "-==", "\r",   "\n",    "\v",   "\xff",       "\0"sv,     "é",         "unknown",
};

template <size_t N>
std::string_view Pick(const std::string_view (&from)[N], std::mt19937& random) {
  return from[random() % N];
}

// A line of pieces of frames, most of which nearly fit together.
std::string NearFrame(std::mt19937& random) {
  std::string line(Pick(kOpenings, random));
  for (size_t count = random() % 12; count > 0; --count) line += Pick(kFragments, random);
  return line;
}

std::string Visible(std::string_view line) {
  std::string out;
  for (const char c : line) {
    char text[8];
    snprintf(text, sizeof(text), c >= ' ' && c <= '~' ? "%c" : "<%02x>", static_cast<unsigned char>(c));
    out += text;
  }
  return out;
}

}  // namespace

// The expressions are the definition: the scanners and GetStackName have to agree with them on every line.
TEST(FrameName, AgreesWithTheExpressions) {
  constexpr size_t kShapes = std::size(kScanners);
  std::vector<std::regex> expressions;
  for (const Scanner& scanner : kScanners) expressions.emplace_back(scanner.expression);
  const std::regex suffix("(.+?)-(.+)==(.+)");
  size_t hits[kShapes + 1] = {};
  std::mt19937 random(20240229);
  for (int i = 0; i < 20000; ++i) {
    const std::string line = NearFrame(random);
    std::string part = line;
    size_t first = kShapes;
    for (size_t shape = kShapes; shape-- > 0;) {
      std::smatch match;
      const bool found = std::regex_search(line, match, expressions[shape]);
      const auto scanned = kScanners[shape].scan(line);
      ASSERT_EQ(found ? Visible(match.str(1)) : "none", scanned ? Visible(*scanned) : "none")
          << kScanners[shape].expression << " on " << Visible(line);
      if (!found) continue;
      ++hits[shape];
      part = match.str(1);
      first = shape;
    }
    if (first == kHyphen) part = part.find('+') == part.npos ? "unknown" : part.substr(0, part.rfind('+')) + ")";
    ASSERT_EQ(Visible(std::regex_replace(part, suffix, "$1$3")), Visible(StackUtil::GetStackName(line)))
        << Visible(line);
    const std::string cut = std::regex_replace(line, suffix, "$1$3");
    ASSERT_EQ(Visible(cut), Visible(WithoutInstallSuffix(line))) << Visible(line);
    if (cut != line) ++hits[kShapes];
  }
  for (size_t shape = 0; shape <= kShapes; ++shape) EXPECT_LT(200u, hits[shape]) << "lines of shape " << shape;
}

TEST(FrameName, ReducesFrames) {
  const std::pair<const char*, const char*> cases[] = {
      {"\tat a.B.c(D.java:1) (x) y", "a.B.c(D.java:1) (x"},
      {"at a.B.c(D.java:1)", "a.B.c(D.java:1)"},
      {"  #01 pc 0af3  /lib/libx.so (fn(int)+42) (BuildId: 1)", " /lib/libx.so (fn(int)+42"},
      {"[<0>] do_x.y+0x1f/0x20 [mod]", "do_x.y+0x1f/0x20"},
      {"  - a+1 (b)", "a)"},
      {"  - lib.so (fn+12)", "unknown"},
      {"#1 pc 0f /app/com.x-Ab-9==/base.apk", "/app/com.x/base.apk"},
  };
  for (const auto& [line, name] : cases) EXPECT_EQ(name, StackUtil::GetStackName(line)) << line;
}

TEST(FrameName, LongLinesNeedNoStack) {
  const std::string longText(1 << 20, 'x');
  EXPECT_EQ(longText, StackUtil::GetStackName(" at " + longText + ") "));
  EXPECT_EQ(longText + "+1", StackUtil::GetStackName("#1 pc a " + longText + "+1)"));
  EXPECT_EQ(longText + "+0x1/0x2", StackUtil::GetStackName("?" + longText + "+0x1/0x2"));
  EXPECT_EQ("ab", StackUtil::GetStackName("a-" + longText + "==b"));
}
