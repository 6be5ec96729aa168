#ifndef CLI_OUTPUT_OUTPUT_FILE_H
#define CLI_OUTPUT_OUTPUT_FILE_H

#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

// Writes everything to a descriptor. False when that is impossible; errno says why.
bool WriteAll(int file, std::string_view content);

// Makes `path` a file with what `print` gives: whole, or as it was before. Throws InputError when that cannot be done,
// and what `print` throws.
void WriteWholeFile(const std::string& path, const std::function<void(std::ostream& out)>& print);
void WriteWholeFile(const std::string& path, const std::string& content);

// Throws InputError where PrintTo() could not write to `path`: to be asked before the work of hours.
void CheckOutput(const std::string& path);

// Lets `print` write to the file `path`, or to standard output when that is empty or "-".
void PrintTo(const std::string& path, const std::function<void(bool inColour, std::ostream& out)>& print);

#endif  // CLI_OUTPUT_OUTPUT_FILE_H
