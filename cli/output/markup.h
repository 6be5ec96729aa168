#ifndef CLI_OUTPUT_MARKUP_H
#define CLI_OUTPUT_MARKUP_H

#include <string>
#include <string_view>

// `text` as XML and HTML take it, between tags or as a value in double quotes. Of control characters they take white
// space only, not even escaped: a question mark stands for another. Bytes that are no UTF-8 become U+FFFD.
std::string EscapedForMarkup(std::string_view text);

#endif  // CLI_OUTPUT_MARKUP_H
