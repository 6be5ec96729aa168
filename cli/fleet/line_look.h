#ifndef CLI_FLEET_LINE_LOOK_H
#define CLI_FLEET_LINE_LOOK_H

#include <string_view>

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

constexpr bool IsFrame(LineLook look) { return look >= LineLook::kJavaFrame && look <= LineLook::kKernelFrame; }
constexpr bool IsHead(LineLook look) { return look >= LineLook::kJavaHead; }

// In the plural: "Java frames".
std::string_view NameOf(LineLook look);

#endif  // CLI_FLEET_LINE_LOOK_H
