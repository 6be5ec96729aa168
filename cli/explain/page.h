#ifndef CLI_EXPLAIN_PAGE_H
#define CLI_EXPLAIN_PAGE_H

#include <string_view>

// The page of `kestrix explain`, made from page.html, page.css and page.js when the program is built. Between the two
// parts stand its data: JSON without a "<".
extern const std::string_view kPageHead;
extern const std::string_view kPageTail;

#endif  // CLI_EXPLAIN_PAGE_H
