#include "stack/frame_name.h"

#include <algorithm>

namespace {

constexpr std::string_view kLineEnds = "\n\r";
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kSymbolChars = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz.";

constexpr auto kNone = std::string_view::npos;

// What a leading ".*" takes: the text up to the first line end.
std::string_view UpToLineEnd(std::string_view text) {
  const auto end = std::find_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; });
  return text.substr(0, static_cast<size_t>(end - text.begin()));
}

// Takes a run of `chars` off the front of `text` and returns its length.
size_t TakeRun(std::string_view& text, std::string_view chars) {
  const size_t length = std::min(text.find_first_not_of(chars), text.size());
  text.remove_prefix(length);
  return length;
}

bool TakeText(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

// What follows white space, at least `minBlanks` of it, and `word` at the front of the line, up to the line end.
std::optional<std::string_view> Behind(std::string_view line, size_t minBlanks, std::string_view word) {
  if (TakeRun(line, kWhiteSpace) < minBlanks || !TakeText(line, word)) return std::nullopt;
  return UpToLineEnd(line);
}

std::optional<std::string_view> UpToLast(std::optional<std::string_view> text, char end) {
  const size_t pos = text ? text->rfind(end) : kNone;
  if (pos == kNone) return std::nullopt;
  return text->substr(0, pos);
}

// What follows the first "#\d+ pc [0-9a-f]+ " of `text`, up to the line end.
std::optional<std::string_view> BehindProgramCounter(std::string_view text) {
  for (size_t hash = text.find('#'); hash != kNone; hash = text.find('#')) {
    text.remove_prefix(hash + 1);
    std::string_view rest = text;
    if (TakeRun(rest, kDigits) > 0 && TakeText(rest, " pc ") && TakeRun(rest, kHexDigits) > 0 && TakeText(rest, " ")) {
      return UpToLineEnd(rest);
    }
  }
  return std::nullopt;
}

// The part of `text` before the ")" of its last "+digits)", the "+digits" included.
std::optional<std::string_view> UpToLastOffset(std::string_view text) {
  for (size_t plus = text.rfind('+'); plus != kNone; plus = plus == 0 ? kNone : text.rfind('+', plus - 1)) {
    std::string_view rest = text.substr(plus + 1);
    if (TakeRun(rest, kDigits) > 0 && rest.starts_with(')')) return text.substr(0, text.size() - rest.size());
  }
  return std::nullopt;
}

struct NamedPart {
  FrameShape shape = FrameShape::kOther;
  std::optional<std::string_view> part;
};

// The part of a line that is its name, by the first shape that the line has. No part for the shapes without one.
NamedPart NamedPartOf(std::string_view line) {
  struct Row {
    FrameShape shape;
    std::optional<std::string_view> (*partOf)(std::string_view line);
  };
  static constexpr Row kRows[] = {{FrameShape::kJava, JavaFrameInParentheses},
                                  {FrameShape::kJava, JavaFrame},
                                  {FrameShape::kNative, NativeFrameWithOffset},
                                  {FrameShape::kNative, NativeFrame},
                                  {FrameShape::kKernel, KernelFrame}};
  for (const Row& row : kRows) {
    if (const auto part = row.partOf(line)) return {row.shape, part};
  }
  return {};
}

// What is left of one line of a name: the text between its first "-" and its last "==" is taken out.
void AppendWithoutSuffix(std::string_view line, std::string& out) {
  const size_t hyphen = line.find('-', 1);
  const size_t equals = line.size() < 3 ? kNone : line.rfind("==", line.size() - 3);
  if (hyphen != kNone && equals != kNone && equals >= hyphen + 2) {
    out.append(line.substr(0, hyphen)).append(line.substr(equals + 2));
  } else {
    out.append(line);
  }
}

}  // namespace

std::optional<std::string_view> JavaFrameInParentheses(std::string_view line) {
  return UpToLast(Behind(line, 1, "at "), ')');
}

std::optional<std::string_view> JavaFrame(std::string_view line) { return Behind(line, 0, "at "); }

std::optional<std::string_view> NativeFrameWithOffset(std::string_view line) {
  // A backtracking engine would try the next "#" of the line. That cannot succeed: what follows it is the end of what
  // has just been searched.
  for (auto rest = BehindProgramCounter(line); rest; rest = BehindProgramCounter(line)) {
    if (const auto frame = UpToLastOffset(*rest)) return frame;
    line.remove_prefix(static_cast<size_t>(rest->data() - line.data()) + rest->size());
  }
  return std::nullopt;
}

std::optional<std::string_view> NativeFrame(std::string_view line) { return BehindProgramCounter(line); }

std::optional<std::string_view> KernelFrame(std::string_view line) {
  for (size_t plus = line.find("+0x"); plus != kNone; plus = line.find("+0x", plus + 1)) {
    const size_t before = line.substr(0, plus).find_last_not_of(kSymbolChars);
    const size_t begin = before == kNone ? 0 : before + 1;
    std::string_view rest = line.substr(plus + 3);
    if (begin < plus && TakeRun(rest, kHexDigits) > 0 && TakeText(rest, "/0x") && TakeRun(rest, kHexDigits) > 0) {
      return line.substr(begin, line.size() - rest.size() - begin);
    }
  }
  return std::nullopt;
}

std::optional<std::string_view> HyphenLine(std::string_view line) { return UpToLast(Behind(line, 1, "- "), '('); }

std::string WithoutInstallSuffix(std::string_view name) {
  if (name.find("==") == kNone) return std::string(name);
  std::string out;
  while (!name.empty()) {
    const std::string_view line = UpToLineEnd(name);
    AppendWithoutSuffix(line, out);
    name.remove_prefix(line.size());
    const size_t lineEnds = TakeRun(name, kLineEnds);
    out.append(name.data() - lineEnds, lineEnds);
  }
  return out;
}

FrameShape ShapeOf(std::string_view line) {
  const NamedPart named = NamedPartOf(line);
  if (named.part) return named.shape;
  return HyphenLine(line) ? FrameShape::kHyphen : FrameShape::kOther;
}

std::string FrameName(std::string_view line) {
  if (const NamedPart named = NamedPartOf(line); named.part) return WithoutInstallSuffix(*named.part);
  const auto part = HyphenLine(line);
  if (!part) return WithoutInstallSuffix(line);
  const size_t plus = part->rfind('+');
  if (plus == kNone) return "unknown";
  return WithoutInstallSuffix(std::string(part->substr(0, plus)) + ")");
}
