#include "util/sha256_util.h"

#include <gtest/gtest.h>

#include "tests/support/log_fake.h"
#include "tests/support/temp_dir.h"

namespace {

using Lines = std::vector<std::string>;

const std::string kUntouched(80, 'x');
const std::string kAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string kEmpty = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
const std::string kLong = "c526c6222044dab5674de9c4ac7f4566ebb5e4d8bf9d8ea34c9cc8a7cc3c869c";

}  // namespace

TEST(Sha256Util, CalcFileShaWritesTextOrLeavesTheBuffer) {
  const TempDir dir;
  const std::string abc = dir.write("abc", "abc");
  const std::string failed = "6 CalcFileSha: CalcFileShaOriginal failed.";
  // Path, length of the text buffer; status, digest, log.
  const std::tuple<std::string, size_t, int, std::string, Lines> cases[] = {
      {abc, 65, 0, kAbc, {}},
      {dir.write("empty", ""), 80, 0, kEmpty, {}},
      {dir.write("several reads", std::string(5000, 'a')), 80, 0, kLong, {}},
      {abc, 64, 12, "", {}},
      {abc, 31, 12, "", {"6 CalcFileShaOriginal: hash buf len error.", failed}},
      {dir.path("missing"), 80, 2, "", {"6 CalcFileShaOriginal: open file failed.", failed}},
      {dir.path("./abc"), 80, 22, "", {"6 CalcFileSha: invalid param."}},
      {"", 80, 22, "", {"6 CalcFileSha: invalid param."}},
  };
  for (const auto& [path, textLen, code, digest, log] : cases) {
    std::string text = kUntouched;
    TakeLog();
    EXPECT_EQ(code, Sha256Util::CalcFileSha(path, text.data(), textLen)) << path << " " << textLen;
    EXPECT_EQ(code == 0 ? digest + '\0' + std::string(15, 'x') : kUntouched, text) << path << " " << textLen;
    EXPECT_EQ(log, TakeLog()) << path << " " << textLen;
  }
}

TEST(Sha256Util, ChecksTheArgumentsOfEachStep) {
  std::string text = kUntouched;
  uint8_t digest[32] = {};
  TakeLog();
  EXPECT_EQ(22, Sha256Util::CalcFileShaOriginal("dir./abc", digest, 32));
  EXPECT_EQ(22, Sha256Util::CalcFileShaOriginal("abc", nullptr, 32));
  EXPECT_EQ(Lines(2, "6 CalcFileShaOriginal: file is invalid."), TakeLog());
  EXPECT_EQ(12, Sha256Util::ConvertToString(digest, text.data(), 64));
  EXPECT_EQ(22, Sha256Util::ConvertToString(nullptr, text.data(), 65));
  EXPECT_EQ(22, Sha256Util::ConvertToString(digest, nullptr, 65));
  EXPECT_EQ(12, Sha256Util::CalcBufferSha("abc", 3, text.data(), 64));
  EXPECT_EQ(22, Sha256Util::CalcBufferSha("", 0, text.data(), 65));
  EXPECT_EQ(22, Sha256Util::CalcBufferSha("abc", 3, nullptr, 65));
  EXPECT_EQ(kUntouched, text);
  EXPECT_EQ(0, Sha256Util::CalcBufferSha("abcdef", 3, text.data(), 65));
  EXPECT_EQ(kAbc, text.c_str());
  EXPECT_EQ(0, Sha256Util::ConvertToString(digest, text.data(), 65));
  EXPECT_EQ(std::string(64, '0'), text.c_str());
  EXPECT_EQ(Lines(), TakeLog());
}
