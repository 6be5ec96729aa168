#include <android-base/properties.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>
#include <sstream>

#include "entry/kestrix.h"
#include "tests/support/project_files.h"

namespace {

const std::string kExamples = ProjectFile("examples");

// A value of several lines becomes an array of them, as the expected files have it for the reader's sake.
Json::Value Lines(const std::string& value) {
  Json::Value lines(Json::arrayValue);
  std::istringstream text(value);
  for (std::string line; std::getline(text, line);) lines.append(line.substr(0, line.find('\r')));
  return lines.size() == 1 ? lines[0] : lines;
}

// Each log is named after the event type it is an example of.
TEST(Examples, GiveTheValuesThatAReaderOfTheLogExpects) {
  android::base::SetProperty("persist.sys.Kestrix.debug", "true");
  for (const std::string type : {"app_not_responding", "java_crash", "kernel_panic", "native_crash"}) {
    Json::Value actual(Json::objectValue);
    const auto result = Kestrix::analysis(kExamples + "/logs/" + type + ".txt", kExamples + "/rules", type);
    for (const auto& [key, value] : result) actual[key] = Lines(value);
    Json::Value expected;
    std::ifstream(kExamples + "/expected/" + type + ".json") >> expected;
    EXPECT_EQ(expected, actual) << type;
  }
  android::base::SetProperty("persist.sys.Kestrix.debug", "false");
}

}  // namespace
