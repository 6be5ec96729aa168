#ifndef UTIL_SHA256_UTIL_H
#define UTIL_SHA256_UTIL_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "util/export.h"

// SHA-256 of files and byte buffers. A digest has 32 bytes; its text has 64 lower-case hexadecimal characters and an
// ending NUL, so a text buffer holds at least 65 bytes. Results are status codes with errno meaning: 0 success, 22 bad
// argument or illegal path, 12 buffer too small, otherwise the errno of a failed open. The caller's buffer stays
// untouched on failure.
class KESTRIX_EXPORT Sha256Util {
 public:
  // Writes the 32 bytes at `digest` as text.
  static int ConvertToString(const uint8_t* digest, char* text, size_t textLen);

  // Writes the digest of a file, 32 bytes, to `digest`. A read error counts as the end of the file.
  static int CalcFileShaOriginal(const std::string& path, uint8_t* digest, size_t digestLen);

  // Writes the digest of a file as text.
  static int CalcFileSha(const std::string& path, char* text, size_t textLen);

  // Writes the digest of the first `len` bytes of `buffer` as text. REQUIRES: `len` is at most buffer.size().
  // An empty `buffer` is a bad argument.
  static int CalcBufferSha(const std::string& buffer, size_t len, char* text, size_t textLen);
};

#endif  // UTIL_SHA256_UTIL_H
