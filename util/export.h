#ifndef UTIL_EXPORT_H
#define UTIL_EXPORT_H

// Marks a class as part of what libKestrix.so exports; everything unmarked is compiled with hidden visibility.
#define KESTRIX_EXPORT __attribute__((visibility("default")))

#endif  // UTIL_EXPORT_H
