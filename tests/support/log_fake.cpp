#include "tests/support/log_fake.h"

#include <android/log.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace {

std::mutex logMutex;
std::vector<LogLine> logLines;

}  // namespace

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  std::array<char, 8192> text{};
  va_list args;
  va_start(args, format);
  const int length = vsnprintf(text.data(), text.size(), format, args);
  va_end(args);
  const std::string line = text.data();
  const size_t colon = line.find(':');
  const size_t behind = line.find(']');
  const std::lock_guard<std::mutex> lock(logMutex);
  logLines.push_back({priority, tag, line.substr(behind + 1), line.substr(1, colon - 1)});
  return length;
}

std::vector<LogLine> TakeLogLines() {
  const std::lock_guard<std::mutex> lock(logMutex);
  return std::exchange(logLines, {});
}

std::vector<std::string> TakeLog() {
  std::vector<std::string> texts;
  for (const LogLine& line : TakeLogLines()) {
    texts.push_back(std::to_string(line.priority) + " " + line.function + ": " + line.text);
  }
  return texts;
}
