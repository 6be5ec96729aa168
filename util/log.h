#ifndef UTIL_LOG_H
#define UTIL_LOG_H

#include <android/log.h>

// Writes one line to the Android log under the library's tag, headed by the calling function and its source line.
// `format` is a string literal. Use it in the function that the line is about: the heading names the function that
// holds the macro, so a lambda or a helper would put its own name there.
#define KESTRIX_LOG(priority, format, ...) \
  __android_log_print((priority), "Kestrix", "[%s:%d]" format, __func__, __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#endif  // UTIL_LOG_H
