#ifndef CLI_FLEET_RESULT_LINE_H
#define CLI_FLEET_RESULT_LINE_H

#include <json/json.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A line that `kestrix batch` printed. Of the form in which it prints them nothing is copied but what is asked for;
// any other JSON is read as well, by a parser.
class ResultLine {
 public:
  // False when it is none. `line` has to stay until the next one.
  bool read(std::string_view line);

  std::string path() const;
  std::string event() const;
  bool isFailed() const { return isFailed_; }

  // None when the log gave no such result.
  std::optional<std::string> result(std::string_view key) const;

 private:
  // A string of JSON as it stands between its quotes, or the text itself.
  struct Text {
    std::string_view text;
    bool isEscaped = false;
  };

  static std::string textOf(const Text& text);
  static bool takeString(std::string_view& rest, Text& text);
  bool readPrinted(std::string_view line);
  bool readResults(std::string_view& rest);
  bool readAny(std::string_view line);

  Text path_;
  Text event_;
  bool isFailed_ = false;
  std::vector<std::pair<Text, Text>> results_;
  Json::Value any_;  // what the texts of another form refer to
};

#endif  // CLI_FLEET_RESULT_LINE_H
