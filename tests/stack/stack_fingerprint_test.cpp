#include <gtest/gtest.h>

#include "stack/stack_util.h"
#include "tests/support/log_fake.h"
#include "tests/support/temp_dir.h"

using Lines = std::vector<std::string>;

TEST(CalcFingerPrint, HashesTextOrFile) {
  const TempDir dir;
  const std::string abc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  const std::string failed = "6 CalcFingerPrint: calc fingerprint failed, err is ";
  const std::tuple<std::string, int, std::string, Lines> cases[] = {
      {"abc", 1, abc, {}},
      {dir.write("abc", "abc"), 0, abc, {}},
      {"", 1, "0", {failed + "22."}},
      {"", 0, "0", {"6 CalcFileSha: invalid param.", failed + "22."}},
      {"abc", 2, "0", {failed + "-1."}},
      {"abc", -1, "0", {failed + "-1."}},
  };
  for (const auto& [input, mode, print, log] : cases) {
    TakeLog();
    EXPECT_EQ(print, StackUtil::CalcFingerPrint(input, 1, mode)) << input << " " << mode;
    EXPECT_EQ(log, TakeLog()) << input << " " << mode;
  }
  EXPECT_EQ("0", StackUtil::CalcFingerPrint(dir.path("missing"), 0, 0));
  EXPECT_EQ(failed + "2.", TakeLog().back());
}

TEST(WaitForDoneFile, LooksBeforeItSleeps) {
  const TempDir dir;
  const std::string done = dir.write("done", "");
  TakeLog();
  EXPECT_FALSE(StackUtil::WaitForDoneFile(done, 0));
  EXPECT_FALSE(StackUtil::WaitForDoneFile(dir.path("missing"), 1));
  EXPECT_EQ(Lines(), TakeLog());
  EXPECT_TRUE(StackUtil::WaitForDoneFile(done, 1));
  EXPECT_EQ(Lines{"3 WaitForDoneFile: Done file exist: " + done}, TakeLog());
}
