#ifndef CLI_OUTPUT_PAGE_SHELL_H
#define CLI_OUTPUT_PAGE_SHELL_H

#include <json/json.h>

#include <iosfwd>
#include <string_view>

// A page for a browser that needs nothing else. All pages share a frame and a style sheet; the body is markup without
// data, which the script fills in from the JSON text of the element "data".
struct Page {
  std::string_view title;
  std::string_view body;
  std::string_view script;
};

// The policy of the page names style and script by their hashes, so that nothing else runs: no text of a log does.
void PrintPage(const Page& page, const Json::Value& data, std::ostream& out);

#endif  // CLI_OUTPUT_PAGE_SHELL_H
