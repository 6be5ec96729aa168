#include "util/sha256_util.h"

#include <openssl/sha.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "util/file_util.h"
#include "util/log.h"

namespace {

constexpr size_t kTextLen = 2 * SHA256_DIGEST_LENGTH + 1;  // hexadecimal characters and the ending NUL
constexpr size_t kChunkLen = 4096;                         // bytes read from a file at once

void HashStream(FILE* file, uint8_t* digest) {
  SHA256_CTX context;
  SHA256_Init(&context);
  std::array<uint8_t, kChunkLen> chunk;
  for (size_t n = 0; (n = fread(chunk.data(), 1, chunk.size(), file)) > 0;) SHA256_Update(&context, chunk.data(), n);
  SHA256_Final(digest, &context);
}

}  // namespace

int Sha256Util::ConvertToString(const uint8_t* digest, char* text, size_t textLen) {
  if (digest == nullptr || text == nullptr) return EINVAL;
  if (textLen < kTextLen) return ENOMEM;
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (size_t i = 0; i < SHA256_DIGEST_LENGTH; ++i) {
    text[2 * i] = kDigits[digest[i] / 16];
    text[2 * i + 1] = kDigits[digest[i] % 16];
  }
  text[kTextLen - 1] = '\0';
  return 0;
}

int Sha256Util::CalcFileShaOriginal(const std::string& path, uint8_t* digest, size_t digestLen) {
  if (digest == nullptr || path.empty() || !FileUtil::IsLegalPath(path)) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "file is invalid.");
    return EINVAL;
  }
  if (digestLen < SHA256_DIGEST_LENGTH) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "hash buf len error.");
    return ENOMEM;
  }
  FILE* file = fopen(path.c_str(), "rbe");
  if (file == nullptr) {
    const int error = errno;
    KESTRIX_LOG(ANDROID_LOG_ERROR, "open file failed.");
    return error;
  }
  HashStream(file, digest);
  if (fclose(file) != 0) KESTRIX_LOG(ANDROID_LOG_ERROR, "fclose is failed");
  return 0;
}

int Sha256Util::CalcFileSha(const std::string& path, char* text, size_t textLen) {
  if (text == nullptr || path.empty() || !FileUtil::IsLegalPath(path)) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "invalid param.");
    return EINVAL;
  }
  std::array<uint8_t, SHA256_DIGEST_LENGTH> digest{};
  // The length of the text buffer stands for the digest's, so one under 32 bytes is refused before the file is opened.
  const int error = CalcFileShaOriginal(path, digest.data(), textLen);
  if (error != 0) {
    KESTRIX_LOG(ANDROID_LOG_ERROR, "CalcFileShaOriginal failed.");
    return error;
  }
  return ConvertToString(digest.data(), text, textLen);
}

int Sha256Util::CalcBufferSha(const std::string& buffer, size_t len, char* text, size_t textLen) {
  if (text == nullptr || buffer.empty()) return EINVAL;
  std::array<uint8_t, SHA256_DIGEST_LENGTH> digest;
  SHA256(reinterpret_cast<const uint8_t*>(buffer.data()), len, digest.data());
  return ConvertToString(digest.data(), text, textLen);
}
