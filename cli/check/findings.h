#ifndef CLI_CHECK_FINDINGS_H
#define CLI_CHECK_FINDINGS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/check/finding_codes.h"
#include "cli/rule_files/json_tree.h"

// An edit of the finding's file that cures it. An empty span is a place to insert at.
struct Fix {
  Span span;
  std::string text;  // as it stands in the file: quotes and backslashes escaped
};

// One finding at its place.
struct Finding {
  Code code;
  Severity severity;
  const JsonFile* file;
  Span span;
  std::string message;
  std::optional<Fix> fix;  // where the cure is known
};

// What the checks have found. One place gets each code once.
class Findings {
 public:
  // With the severity of its code. The reference is good until the next call, for a severity of its own or a fix.
  Finding& add(Code code, const JsonFile& file, Span span, std::string message);

  void add(Finding finding) { findings_.push_back(std::move(finding)); }

  // In the order of their places, those of the match file first.
  std::vector<Finding> sorted(const JsonFile& matchFile) const;

 private:
  std::vector<Finding> findings_;
};

#endif  // CLI_CHECK_FINDINGS_H
