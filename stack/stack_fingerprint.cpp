#include <unistd.h>

#include <array>
#include <chrono>

#include "stack/stack_util.h"
#include "util/file_util.h"
#include "util/log.h"
#include "util/sha256_util.h"

namespace {

constexpr int kHashFile = 0;
constexpr int kHashText = 1;
constexpr int kUnknownMode = -1;

}  // namespace

std::string StackUtil::CalcFingerPrint(const std::string& input, size_t /*length*/, int mode) {
  std::array<char, 128> text = {"0"};
  int error = kUnknownMode;
  if (mode == kHashText) {
    error = Sha256Util::CalcBufferSha(input, input.size(), text.data(), text.size());
  } else if (mode == kHashFile) {
    error = Sha256Util::CalcFileSha(input, text.data(), text.size());
  }
  if (error != 0) KESTRIX_LOG(ANDROID_LOG_ERROR, "calc fingerprint failed, err is %d.", error);
  return text.data();
}

bool StackUtil::WaitForDoneFile(const std::string& path, unsigned int seconds) {
  using Clock = std::chrono::steady_clock;
  std::chrono::nanoseconds budget = std::chrono::seconds(seconds);
  while (budget.count() > 0) {
    if (FileUtil::FileExists(path)) {
      KESTRIX_LOG(ANDROID_LOG_DEBUG, "Done file exist: %s", path.c_str());
      return true;
    }
    const Clock::time_point before = Clock::now();
    sleep(1);
    budget -= Clock::now() - before;  // a signal may have cut the sleep short
  }
  return false;
}
