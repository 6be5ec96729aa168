#include "cli/log_lines/volatile_tokens.h"

#include <algorithm>
#include <map>
#include <memory>

#include "cli/output/lines.h"
#include "regex/line_automaton.h"
#include "regex/regex.h"
#include "regex/regex_reader.h"

namespace {

struct TokenPattern {
  TokenKind kind;
  std::string_view text;  // its first group takes the token
};

constexpr TokenPattern kPatterns[] = {
    {TokenKind::kTime, R"(\b(\d{4}-\d\d-\d\d(?:[ T]\d\d:\d\d:\d\d(?:[.,]\d+)?)?))"},
    {TokenKind::kTime, R"(\b(\d\d-\d\d \d\d:\d\d:\d\d(?:[.,]\d+)?))"},
    {TokenKind::kTime, R"(\b(\d\d:\d\d:\d\d(?:[.,]\d+)?))"},
    {TokenKind::kTime, R"(\[( *\d+\.\d{6})\])"},  // since boot
    {TokenKind::kTime, R"(\b(\d+) ?ms\b)"},

    {TokenKind::kBuildId, R"(BuildId: ([0-9a-f]+))"},
    {TokenKind::kBuildId, R"(~~([\w-]+==))"},  // of an installation, as the next one
    {TokenKind::kBuildId, R"(-([\w-]{20,}==))"},

    {TokenKind::kLambdaNumber, R"(Lambda\$?(\d+(?:/(?:0x)?[0-9a-f]+)?))"},
    {TokenKind::kLambdaNumber, R"(lambda\$[\w$]*\$(\d+))"},

    {TokenKind::kProcessId, R"(\b(?:pid|Pid|PID|tid|Tid|TID|sysTid)[ :=]{1,3}(\d+))"},
    {TokenKind::kProcessId, R"(/proc/(\d+))"},
    {TokenKind::kProcessId, R"(^[VDIWEF]/[^(]*\(( *\d+)\))"},  // of a line of logcat

    {TokenKind::kLineNumber, R"([A-Za-z]:(\d+(?::\d+)?)(?:\)| |$))"},

    {TokenKind::kOffset, R"(\+(0x[0-9a-f]+(?:/0x[0-9a-f]+)?))"},
    {TokenKind::kOffset, R"(\+(\d+)(?:\)|$))"},
    {TokenKind::kOffset, R"(\(offset (0x[0-9a-f]+)\))"},

    {TokenKind::kAddress, R"((?:^|[^+/\w])(0x[0-9a-f]{5,16})\b)"},
    {TokenKind::kAddress, R"(\bpc ([0-9a-f]{6,16})\b)"},
    {TokenKind::kAddress, R"(@([0-9a-f]{5,8})\b)"},  // of an object
    {TokenKind::kAddress, R"((?:^|[ <(\[])([0-9a-f]{16}|[0-9a-f]{8})(?:$|[ >)\],]))"},
};

constexpr size_t kMaxTableSize = 1024 * 1024;  // bytes

// Compiled once: they are applied to every line of every stack.
std::vector<Regex>& PatternsOf(TokenKind kind) {
  static std::map<TokenKind, std::vector<Regex>> patterns = [] {
    std::map<TokenKind, std::vector<Regex>> compiled;
    for (const TokenPattern& pattern : kPatterns) compiled[pattern.kind].emplace_back(pattern.text);
    return compiled;
  }();
  return patterns[kind];
}

std::string MaskedBy(Regex& pattern, std::string_view line) {
  std::string masked;
  for (Regex::Match match; pattern.search(line, match);) {
    const auto begin = static_cast<size_t>(match.group.data() - line.data());
    masked.append(line.substr(0, begin)).append("*");
    line.remove_prefix(begin + match.group.size());
  }
  return masked.append(line);
}

std::string MaskedLine(std::string line, TokenKind kind) {
  for (Regex& pattern : PatternsOf(kind)) line = MaskedBy(pattern, line);
  return line;
}

// Tells in one pass over a line which of `kPatterns` may match it.
LineAutomaton& AnyPattern() {
  static const auto automaton = [] {
    std::vector<RegexNode> patterns;
    for (const TokenPattern& pattern : kPatterns) patterns.push_back(ReadRegex(pattern.text).tree.value().root);
    return std::make_unique<LineAutomaton>(patterns, kMaxTableSize);
  }();
  return *automaton;
}

}  // namespace

const std::vector<TokenKind>& AllTokenKinds() {
  static const std::vector<TokenKind> kAll = {TokenKind::kTime,      TokenKind::kBuildId,    TokenKind::kLambdaNumber,
                                              TokenKind::kProcessId, TokenKind::kLineNumber, TokenKind::kOffset,
                                              TokenKind::kAddress};
  return kAll;
}

std::string_view NameOf(TokenKind kind) {
  switch (kind) {
    case TokenKind::kTime:
      return "times";
    case TokenKind::kBuildId:
      return "build ids";
    case TokenKind::kLambdaNumber:
      return "lambda numbers";
    case TokenKind::kProcessId:
      return "process ids";
    case TokenKind::kLineNumber:
      return "line numbers";
    case TokenKind::kOffset:
      return "offsets";
    case TokenKind::kAddress:
      return "addresses";
  }
  return "";
}

std::string Masked(std::string_view text, TokenKind kind) {
  std::string masked;
  ForEachLine(text,
              [&](size_t, std::string_view original) { masked += MaskedLine(std::string(original), kind) + "\n"; });
  return masked;
}

std::string MaskedLine(std::string line) {
  static std::vector<Regex> patterns = [] {
    std::vector<Regex> compiled;
    for (const TokenPattern& pattern : kPatterns) compiled.emplace_back(pattern.text);
    return compiled;
  }();
  std::vector<bool> mayMatch(patterns.size());
  AnyPattern().classify(line, mayMatch);
  for (size_t i = 0; i < patterns.size(); ++i) {
    if (!mayMatch[i]) continue;
    std::string masked = MaskedBy(patterns[i], line);
    if (masked == line) continue;
    line = std::move(masked);
    AnyPattern().classify(line, mayMatch);
  }
  return line;
}
