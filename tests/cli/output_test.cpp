// What reaches terminals, files and pages, whatever bytes it is made of.

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/output/input_error.h"
#include "cli/output/json_text.h"
#include "cli/output/lines.h"
#include "cli/output/markup.h"
#include "cli/output/output_file.h"
#include "cli/output/page_shell.h"
#include "cli/output/terminal.h"
#include "cli/output/utf8.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(Utf8, TakesNoSurrogatesAndNoOverlongForms) {
  const struct {
    const char* what;
    std::string text;
    size_t length;
  } kCases[] = {
      {"ASCII", "a", 1},
      {"a continuation alone", "\x80", 0},
      {"overlong in two bytes", "\xc1\xbf", 0},
      {"the first of two bytes", "\xc2\x80", 2},
      {"overlong in three bytes", "\xe0\x9f\xbf", 0},
      {"the first of three bytes", "\xe0\xa0\x80", 3},
      {"before the surrogates", "\xed\x9f\xbf", 3},
      {"the first surrogate", "\xed\xa0\x80", 0},
      {"the last surrogate", "\xed\xbf\xbf", 0},
      {"behind the surrogates", "\xee\x80\x80", 3},
      {"overlong in four bytes", "\xf0\x8f\xbf\xbf", 0},
      {"the first of four bytes", "\xf0\x90\x80\x80", 4},
      {"the last character", "\xf4\x8f\xbf\xbf", 4},
      {"one more", "\xf4\x90\x80\x80", 0},
      {"cut off", "\xf0\x90\x80", 0},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.length, CharacterLength(c.text)) << c.what;
    EXPECT_EQ(c.length > 0, IsUtf8(c.text)) << c.what;
  }
  EXPECT_EQ("\uFFFD\uFFFD\uFFFDx", ValidUtf8("\xed\xa0\x80x"));
}

TEST(Output, LetsNoControlCharacterThrough) {
  const struct {
    const char* what;
    std::string text;
    std::string shown;
    std::string json;
  } kCases[] = {
      {"escape", "a\x1b[31m", "a?[31m", "a\\u001b[31m"},
      {"zero", std::string("a\0b", 3), "a?b", "a\\u0000b"},
      {"delete", "a\x7f", "a?", "a\\u007f"},
      {"the short form of an escape", "a\u009b31m", "a?31m", "a\\u009b31m"},
      {"a turn of the direction", "a\u202e|\u2066", "a?|?", "a\\u202e|\\u2066"},
      {"beside these", "\u00a0\u2029\u202f\u2065\u206a", "\u00a0\u2029\u202f\u2065\u206a",
       "\u00a0\u2029\u202f\u2065\u206a"},
      {"half a character", "a\xc2", "a\uFFFD", "a\uFFFD"},
      {"half a surrogate pair", "\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD", "\uFFFD\uFFFD\uFFFD"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.shown, LineForPeople(c.text)) << c.what;
    EXPECT_EQ(c.shown, EscapedForMarkup(c.text)) << c.what;
    EXPECT_EQ('"' + c.json + '"', JsonString(c.text)) << c.what;
    EXPECT_EQ('"' + c.json + "\"\n", JsonPage(c.text)) << c.what;
  }
  EXPECT_EQ("a?b?c\td", LineForPeople(" \ta\x1b"
                                      "b\x7f"
                                      "c\td\r"));
  EXPECT_EQ("a?b\t\n&lt;i&gt; &amp; &quot;", EscapedForMarkup("a\x01"
                                                              "b\t\n<i> & \""));
}

TEST(Output, HoldsAPageTogetherWhateverItsDataAre) {
  Json::Value data;
  data["text"] = "</script><!--<script>";
  std::ostringstream page;
  PrintPage({.title = "title", .body = "<p>body</p>", .scripts = {"draw()"}}, data, page);
  const std::string text = page.str();
  EXPECT_NE(std::string::npos, text.find(R"({"text":"\u003c/script>\u003c!--\u003cscript>"})"));
  EXPECT_NE(std::string::npos, text.find("<title>title</title>"));
  EXPECT_NE(std::string::npos, text.find("<p>body</p><script type=\"application/json\""));
  // The policy lets the script run that stands in the page, and no other.
  const size_t begin = text.rfind("<script>") + 8;
  const std::string script = text.substr(begin, text.rfind("</script>") - begin);
  EXPECT_TRUE(script.ends_with("draw()"));
  std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
  SHA256(reinterpret_cast<const unsigned char*>(script.data()), script.size(), digest.data());
  std::array<char, 45> encoded{};
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), digest.data(), SHA256_DIGEST_LENGTH);
  EXPECT_NE(std::string::npos, text.find("script-src 'sha256-" + std::string(encoded.data()) + "'"));
}

std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(WriteWholeFile, KeepsTheModeAndTheLink) {
  const TempDir dir;
  const std::string target = dir.write("target", "old");
  const std::string link = dir.path("link");
  ASSERT_EQ(0, chmod(target.c_str(), 0640));
  std::filesystem::create_symlink(target, link);
  WriteWholeFile(link, "new");
  struct stat status {};
  ASSERT_EQ(0, stat(target.c_str(), &status));
  EXPECT_EQ(0640U, status.st_mode & 07777U);
  EXPECT_EQ("new", ContentOf(target));
  const std::string text(200000, 'x');
  WriteWholeFile(target, text + "y");
  EXPECT_EQ(text + "y", ContentOf(target));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
}

TEST(WriteWholeFile, LeavesNothingHalfWrittenBehind) {
  const TempDir dir;
  std::filesystem::create_directory(dir.path("folder"));
  EXPECT_THROW(WriteWholeFile(dir.path("folder"), "text"), InputError);
  EXPECT_THROW(WriteWholeFile(dir.path("none/file"), "text"), InputError);
  EXPECT_THROW(WriteWholeFile(dir.path("file"), [](std::ostream&) { throw InputError("x", "y"); }), InputError);
  WriteWholeFile(dir.path("file"), "text");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit small = before;
  small.rlim_cur = 10;
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);  // a write past the limit fails
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW(WriteWholeFile(dir.path("file"), std::string(100, 'x')), InputError);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ("text", ContentOf(dir.path("file")));
  std::vector<std::string> names;
  for (const auto& item : std::filesystem::directory_iterator(dir.path())) names.push_back(item.path().filename());
  std::sort(names.begin(), names.end());
  EXPECT_EQ((std::vector<std::string>{"file", "folder"}), names);
}

TEST(Lines, AreSplitInOneWay) {
  EXPECT_EQ((std::vector<std::string>{"a", "", "b\r", "c"}), LinesOf("a\r\n\nb\r\r\nc"));
  EXPECT_EQ((std::vector<std::string>{"a"}), LinesOf("a\n"));
  EXPECT_TRUE(LinesOf("").empty());
  const std::string text = "a\n\xc3\xa4\xff\tz\r\n";
  const LineIndex index(text);
  EXPECT_EQ(2U, index.placeOf(6).line);
  EXPECT_EQ(4U, index.placeOf(6).column) << "a character and a byte that is none";
  EXPECT_EQ("\xc3\xa4\xff\tz", index.line(2));
  std::string longLine = "a\n";
  for (int i = 0; i < 3000; ++i) longLine += "\xc3\xa4";
  EXPECT_EQ(2501U, LineIndex(longLine).placeOf(2 + 5000).column);
}

}  // namespace
