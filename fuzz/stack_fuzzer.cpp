// The stack filter: the input is the trace.

#include <algorithm>
#include <array>
#include <map>

#include "entry/kestrix.h"
#include "fuzz/input.h"
#include "util/sha256_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string trace(reinterpret_cast<const char*>(data), size);
  const auto result = SameAnswerAlways([&trace] {
    std::map<std::string, std::string> map = {{"STACK", trace}, {"FST_FRAME", "kept"}};
    Kestrix::filtStack(map);
    return map;
  });
  FUZZ_CHECK(result.at("FST_FRAME") == "kept");
  const std::string& stack = result.at("STACK");
  FUZZ_CHECK(std::count(stack.begin(), stack.end(), '\n') < 30);
  FUZZ_CHECK(stack.size() <= trace.size() + 30 * 20);  // an exception's name may stand in for a short line
  if (trace.empty()) return 0;
  std::array<char, 65> digest = {"0"};
  Sha256Util::CalcBufferSha(stack, stack.size(), digest.data(), digest.size());
  FUZZ_CHECK(result.at("FINGERPRINT") == digest.data());
  return 0;
}
