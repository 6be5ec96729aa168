// What there is to say about the text of a log.

#include "cli/explain/log_health.h"

#include "cli/log_lines/line_look.h"
#include "cli/output/lines.h"
#include "cli/output/utf8.h"
#include "util/limits.h"

namespace {

// Lines with something in common.
struct Lines {
  size_t count = 0;
  size_t first = 0;

  void add(size_t number) {
    if (count++ == 0) first = number;
  }

  // "3 lines, from line 7 on,"
  std::string text() const {
    if (count == 1) return "line " + std::to_string(first);
    return std::to_string(count) + " lines, from line " + std::to_string(first) + " on,";
  }
};

struct Counts {
  Lines notUtf8;
  Lines withCr;
  Lines withNul;
  Lines overlong;
  Lines prefixed;
};

Counts CountLines(std::string_view log) {
  Counts counts;
  ForEachLine(log, [&](size_t number, std::string_view line) {
    if (!IsUtf8(line)) counts.notUtf8.add(number);
    if (line.ends_with('\r')) counts.withCr.add(number);
    if (line.find('\0') != std::string_view::npos) counts.withNul.add(number);
    if (line.size() > kMaxLineLen) {
      counts.overlong.add(number);
    } else if (IsFrame(LookOf(line)) && PrefixLength(line) > 0) {
      counts.prefixed.add(number);
    }
  });
  return counts;
}

}  // namespace

std::vector<std::string> RemarksOn(std::string_view log) {
  if (log.empty()) return {"the log is empty: nothing can be found"};
  std::vector<std::string> remarks;
  const bool isUtf16 = log.starts_with("\xff\xfe") || log.starts_with("\xfe\xff");
  if (isUtf16) {
    remarks.emplace_back(
        "the log is UTF-16: it is read as bytes, with a NUL byte in each character, so that keywords are not found; "
        "convert it to UTF-8");
  }
  if (log.starts_with("\xef\xbb\xbf")) {
    remarks.emplace_back(
        "the log begins with a byte order mark: its three bytes belong to line 1, and \"^\" matches in front of them");
  }
  const Counts counts = CountLines(log);
  const auto remark = [&remarks](const Lines& lines, const std::string& one, const std::string& many,
                                 const std::string& consequence) {
    if (lines.count > 0) remarks.push_back(lines.text() + " " + (lines.count == 1 ? one : many) + ": " + consequence);
  };
  if (!isUtf16) {
    remark(counts.notUtf8, "is not UTF-8", "are not UTF-8",
           "read as bytes and handed on as they are; here each such byte is shown as U+FFFD");
    remark(counts.withNul, "holds NUL bytes", "hold NUL bytes",
           "read like any other byte; a caller that takes results for C strings sees them cut off");
  }
  remark(counts.withCr, "ends in CR LF", "end in CR LF",
         "the carriage return belongs to the line; \"$\" does not match in front of it, and \".\" does not take it");
  const std::string limit = "more than " + std::to_string(kMaxLineLen) + " bytes";
  remark(counts.overlong, "has " + limit, "have " + limit,
         "passed over by rules and stacks, and not counted for \"skip\"");
  remark(counts.prefixed, "has a log prefix before a stack frame", "have a log prefix before a stack frame",
         "a stack pattern that takes the prefix, with its time and process id, gives each failure a fingerprint of its "
         "own; begin it at the frame");
  if (!log.ends_with('\n')) {
    remarks.emplace_back("the last line has no line feed: rules see it, but a stack that is noted there stays empty");
  }
  return remarks;
}
