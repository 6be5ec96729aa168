#include "cli/library/input.h"

#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <system_error>

#include "rules/rule_file.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"
#include "util/limits.h"

namespace {

std::string ErrnoText() { return std::generic_category().message(errno); }

struct stat StatusOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw InputError(path, ErrnoText());
  return status;
}

// Where and why the file is not JSON, as "Line 2, Column 7: <why>"; empty when it is. The reader that the library uses
// gives no place; this one does, but may differ in what it accepts.
std::string JsonFault(const std::string& path) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  std::ifstream stream(path, std::ios::binary);
  Json::Value root;
  std::string errors;
  if (Json::parseFromStream(builder, stream, &root, &errors)) return "";
  std::istringstream lines(errors);  // "* Line 2, Column 7", then the reason, indented
  std::string place;
  std::string reason;
  std::getline(lines, place);
  std::getline(lines >> std::ws, reason);
  if (!place.starts_with("* Line ")) return "";
  return place.erase(0, strlen("* ")).append(": ").append(reason);
}

void CheckRuleFile(const std::string& path) {
  CheckReadableFile(path);
  try {
    // Before the library reads the file: an exception from nesting that is too deep would pass through it.
    const std::string fault = JsonFault(path);
    Json::Value root;
    if (ReadRuleFile(path, root)) return;
    throw InputError(path, fault.empty() ? "not valid JSON" : "not valid JSON: " + fault);
  } catch (const Json::Exception& error) {
    throw InputError(path, error.what());
  }
}

}  // namespace

off_t CheckReadableFile(const std::string& path) {
  const struct stat status = StatusOf(path);
  if (S_ISDIR(status.st_mode)) throw InputError(path, "is a directory");
  if (!S_ISREG(status.st_mode)) throw InputError(path, "is not a regular file");
  if (access(path.c_str(), R_OK) != 0) throw InputError(path, ErrnoText());
  return status.st_size;
}

std::string MaxLogSizeText() { return std::to_string(kMaxFileSize / (1024 * 1024)) + " MiB"; }

std::string CheckedLogPath(const std::string& path) {
  if (CheckReadableFile(path) > static_cast<off_t>(kMaxFileSize))
    throw InputError(path, "is larger than " + MaxLogSizeText());
  return CheckedLogPathOfAnySize(path);
}

std::string CheckedLogPathOfAnySize(const std::string& path) {
  CheckReadableFile(path);
  if (path.starts_with('/') && FileUtil::IsLegalPath(path)) return path;
  std::string resolved;
  if (!FileUtil::PathToRealPath(path, resolved)) throw InputError(path, ErrnoText());
  if (!FileUtil::IsLegalPath(resolved)) throw InputError(path, "the library reads no path that holds \"./\"");
  return resolved;
}

void CheckRuleFiles(const std::string& configDir) {
  if (!S_ISDIR(StatusOf(configDir).st_mode)) throw InputError(configDir, "is not a directory");
  CheckRuleFile(MatchRuleFile(configDir));
  CheckRuleFile(AssembleRuleFile(configDir));
}
