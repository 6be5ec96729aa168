#ifndef CLI_LOG_LINES_LINE_LOOK_H
#define CLI_LOG_LINES_LINE_LOOK_H

#include <cstddef>
#include <string_view>
#include <vector>

// What a line of a log looks like, whatever the rules make of it.
enum class LineLook {
  kNone,
  kJavaFrame,
  kNativeFrame,
  kKernelFrame,
  kJavaHead,
  kNativeHead,
  kKernelHead,
  kHangHead,
};

LineLook LookOf(std::string_view line);

// The offsets of the lines of a log that may look like anything; all others do not.
std::vector<size_t> LinesWithLook(std::string_view log);

constexpr bool IsFrame(LineLook look) { return look >= LineLook::kJavaFrame && look <= LineLook::kKernelFrame; }
constexpr bool IsHead(LineLook look) { return look >= LineLook::kJavaHead; }

// In the plural: "Java frames".
std::string_view NameOf(LineLook look);

// Whether the line announces a stack: it stands right in front of one.
bool IsOpener(std::string_view line);

// The bytes that the writer of the log put in front of the text: time, process, level, tag. 0 when there are none.
size_t PrefixLength(std::string_view line);

#endif  // CLI_LOG_LINES_LINE_LOOK_H
