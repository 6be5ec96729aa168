#ifndef STACK_FRAME_NAME_H
#define STACK_FRAME_NAME_H

#include <optional>
#include <string>
#include <string_view>

// The fixed shapes of stack frames, each written as the regular expression (ECMAScript) that it stands for. They are
// scanned by hand because a standard library's expressions recurse or give up on long lines: every function here is
// linear in the length of the line and needs no stack. White space and line ends mean the same as in the expressions: a
// "." takes anything but a line feed or a carriage return.

// "^\s+at (.*)\).*": group 1.
std::optional<std::string_view> JavaFrameInParentheses(std::string_view line);

// "^\s*at (.*)": group 1.
std::optional<std::string_view> JavaFrame(std::string_view line);

// "#\d+ pc [0-9a-f]+ (.*\+\d+)\)": group 1.
std::optional<std::string_view> NativeFrameWithOffset(std::string_view line);

// "#\d+ pc [0-9a-f]+ (.*)": group 1.
std::optional<std::string_view> NativeFrame(std::string_view line);

// "([0-9a-zA-Z_.]+\+0x[0-9a-f]+/0x[0-9a-f]+)": group 1.
std::optional<std::string_view> KernelFrame(std::string_view line);

// "^\s+- (.*)\(.*": group 1.
std::optional<std::string_view> HyphenLine(std::string_view line);

// `name` with every match of "(.+?)-(.+)==(.+)" replaced by "$1$3".
std::string WithoutInstallSuffix(std::string_view name);

// The shape by which a line is named: the first of the above that it has.
enum class FrameShape { kJava, kNative, kKernel, kHyphen, kOther };
FrameShape ShapeOf(std::string_view line);

// The name of a frame as StackUtil::GetStackName gives it.
std::string FrameName(std::string_view line);

#endif  // STACK_FRAME_NAME_H
