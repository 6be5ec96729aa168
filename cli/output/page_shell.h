#ifndef CLI_OUTPUT_PAGE_SHELL_H
#define CLI_OUTPUT_PAGE_SHELL_H

#include <json/json.h>

#include <functional>
#include <iosfwd>
#include <string_view>
#include <vector>

// A page for a browser that needs nothing else. All pages share a frame, a style sheet and the beginning of their
// script; the body is markup without data, which the script fills in from the JSON text of the element "data".
struct Page {
  std::string_view title;
  std::string_view body;
  std::vector<std::string_view> scripts;
  bool mayFetch = false;  // from where it was loaded
};

// The body of a report: a head, and a column that its script fills.
extern const std::string_view kReportBody;

// Calls `write` with pieces of the page's data, which together are a JSON text.
using DataSource = std::function<void(const std::function<void(std::string_view json)>& write)>;

// The policy of the page names style and script by their hashes, so that nothing else runs: no text of a log does.
void PrintPage(const Page& page, const Json::Value& data, std::ostream& out);
void PrintPage(const Page& page, const DataSource& data, std::ostream& out);

#endif  // CLI_OUTPUT_PAGE_SHELL_H
