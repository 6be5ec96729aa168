#ifndef STACK_STACK_TABLES_H
#define STACK_STACK_TABLES_H

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

// What the library knows by name.

// --- Result keys ---

inline constexpr char kStackKey[] = "STACK";
inline constexpr char kFingerprintKey[] = "FINGERPRINT";
inline constexpr std::array<const char*, 3> kFrameKeys = {"FST_FRAME", "SEC_FRAME", "LAST_FRAME"};

// --- Names in the lines of a stack: rows are sorted by byte, the order in which they are searched ---

// Standard Java exceptions.
inline constexpr std::array<std::string_view, 24> kExceptionNames = {
    "ArithmeticException",
    "ArrayIndexOutOfBoundsException",
    "ArrayStoreException",
    "ClassCastException",
    "ClassNotFoundException",
    "CloneNotSupportedException",
    "EnumConstantNotPresentException",
    "IllegalAccessException",
    "IllegalArgumentException",
    "IllegalMonitorStateException",
    "IllegalStateException",
    "IllegalThreadStateException",
    "IndexOutOfBoundsException",
    "InstantiationException",
    "InterruptedException",
    "NegativeArraySizeException",
    "NoSuchFieldException",
    "NoSuchMethodException",
    "NullPointerException",
    "NumberFormatException",
    "ReflectiveOperationException",
    "RuntimeException",
    "SecurityException",
    "StringIndexOutOfBoundsException",
};

// The name given to a line that holds none of them.
inline constexpr std::string_view kUnmatchedException = "UnMatchedException";

// What a line that opens a chained exception holds.
inline constexpr std::array<std::string_view, 2> kCauseMarks = {"Caused by:", "Suppressed:"};

// Parts of a frame that make it noise. Level 1: contexts and libraries that nearly every stack runs through.
inline constexpr std::array<std::string_view, 6> kIgnoreLevel1 = {
    "kthread", "libc++.so", "libc.so", "rdr_system_error", "unknown", "watchdog",
};
// Level 2: the scheduler, the stack dumpers, the runtime.
inline constexpr std::array<std::string_view, 5> kIgnoreLevel2 = {
    "__switch_to", "dump_backtrace", "dump_stack", "libart.so", "show_stack",
};
// Level 3: the panic path.
inline constexpr std::array<std::string_view, 1> kIgnoreLevel3 = {"panic"};

inline constexpr std::array<std::span<const std::string_view>, 3> kIgnoreLevels = {
    kIgnoreLevel1,
    kIgnoreLevel2,
    kIgnoreLevel3,
};

// True when `text` holds any of `names`.
inline bool HoldsAnyOf(std::string_view text, std::span<const std::string_view> names) {
  return std::any_of(names.begin(), names.end(),
                     [text](std::string_view name) { return text.find(name) != std::string_view::npos; });
}

// The first name of the levels that a frame holds.
struct IgnoredName {
  int level = 0;  // from 1; 0 when the frame holds none
  std::string_view name;
};

inline IgnoredName FindIgnoredName(std::string_view frame) {
  for (size_t level = 0; level < kIgnoreLevels.size(); ++level) {
    for (const std::string_view name : kIgnoreLevels[level]) {
      if (frame.find(name) != std::string_view::npos) return {static_cast<int>(level) + 1, name};
    }
  }
  return {};
}

#endif  // STACK_STACK_TABLES_H
