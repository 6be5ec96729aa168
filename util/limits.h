#ifndef UTIL_LIMITS_H
#define UTIL_LIMITS_H

#include <cstddef>

// The limits of logs and stacks. They bound what one call may cost; those of the rule files stand with their language.

inline constexpr size_t kMaxFileSize = 32 * 1024 * 1024;  // bytes of a file that is read, inclusive
inline constexpr size_t kMaxLineLen = 2048;               // bytes of a line that is examined, without its line feed
inline constexpr int kMaxTraceLines = 200;                // lines read for one stack trace
inline constexpr int kMaxTraceMisses = 3;     // lines in a row without a frame after which a trace reads one more
inline constexpr size_t kMaxStackLines = 30;  // lines of a filtered stack

#endif  // UTIL_LIMITS_H
