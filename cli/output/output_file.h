#ifndef CLI_OUTPUT_OUTPUT_FILE_H
#define CLI_OUTPUT_OUTPUT_FILE_H

#include <string>

// Makes `path` a file with this content: whole, or as it was before. Throws InputError when that cannot be done.
void WriteWholeFile(const std::string& path, const std::string& content);

#endif  // CLI_OUTPUT_OUTPUT_FILE_H
