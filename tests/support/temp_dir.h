#ifndef TESTS_SUPPORT_TEMP_DIR_H
#define TESTS_SUPPORT_TEMP_DIR_H

#include <filesystem>
#include <fstream>
#include <string>

// A folder of its own that is gone, with all in it, when the object is.
class TempDir {
 public:
  TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "kestrix_XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string path(const std::string& name = "") const { return name.empty() ? path_ : path_ + "/" + name; }

  // Writes a file of that name and returns its path.
  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

 private:
  std::string path_;
};

#endif  // TESTS_SUPPORT_TEMP_DIR_H
