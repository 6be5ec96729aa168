#ifndef TESTS_SUPPORT_PROJECT_FILES_H
#define TESTS_SUPPORT_PROJECT_FILES_H

#include <android-base/file.h>

#include <string>

// A file or folder of the project that a test reads. On a device, where the test program has copies of them beside it,
// no root is compiled in.
inline std::string ProjectFile(const std::string& path) {
#ifdef KESTRIX_ROOT
  return std::string(KESTRIX_ROOT) + "/" + path;
#else
  return android::base::GetExecutableDirectory() + "/" + path;
#endif
}

#endif  // TESTS_SUPPORT_PROJECT_FILES_H
