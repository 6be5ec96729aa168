#include "cli/check/expression_verdict.h"

#include <algorithm>
#include <optional>
#include <regex>
#include <string_view>
#include <vector>

#include "cli/output/terminal.h"

namespace {

std::string ReasonOf(std::regex_constants::error_type code) {
  namespace rc = std::regex_constants;
  if (code == rc::error_ctype || code == rc::error_collate) return "a class of an unknown name";
  if (code == rc::error_range) return "a range that makes no sense";
  if (code == rc::error_space || code == rc::error_complexity || code == rc::error_stack) return "it is too large";
  return "it does not compile";
}

// "(?i)" and the like.
bool HoldsFlags(std::string_view group) {
  const size_t end = group.find_first_not_of("imsxuU-", 2);
  return end != std::string_view::npos && end > 2 && (group[end] == ')' || group[end] == ':');
}

// What an escape of other languages is to be written as; else the character itself.
std::string ReplacementFor(char escape) {
  switch (escape) {
    case 'h':
      return "\"[ \\t]\"";
    case 'R':
      return "nothing: a line ends at its line feed";
    case 'A':
      return "\"^\"";
    case 'Z':
    case 'z':
      return "\"$\"";
    default:
      return "\"" + std::string(1, escape) + "\"";
  }
}

// What is wrong with an expression, or why it is left to std::regex.
// NOLINTNEXTLINE(readability-function-size): a row for each issue
std::string WordsFor(const RegexReading& reading, std::string_view expression) {
  const std::string piece(expression.substr(reading.offset, reading.length));
  switch (reading.issue) {
    case RegexIssue::kNone:
      return "";
    case RegexIssue::kBackReference:
      return "a back-reference";
    case RegexIssue::kEdgeInLookAhead:
      return "the C++ libraries disagree about \"\\b\" and \"\\B\" at the beginning of a look-ahead";
    case RegexIssue::kGroupInLookAhead:
      return "the C++ libraries disagree about the first group where it stands in a look-ahead; write \"(?:\" there";
    case RegexIssue::kGroupInLoop:
      return "the C++ libraries disagree about the first group where a round of its loop can be empty";
    case RegexIssue::kEmptyLoop:
      return "the C++ libraries disagree about a counted repetition of what may be empty";
    case RegexIssue::kLoopsInLookAhead:
      return "a loop without an end in a look-ahead that stands in another one";
    case RegexIssue::kTooLarge:
      return "more than 100 groups inside each other, or more than 10000 parts with repetitions written out";
    case RegexIssue::kEmptyClass:
      return "the C++ libraries disagree about an empty class";
    case RegexIssue::kOddClass:
      return "the C++ libraries disagree about this class; put a \"-\" first or last and write characters plainly";
    case RegexIssue::kOddByte:
      return "the C++ libraries disagree about this character";
    case RegexIssue::kNothingToRepeat:
      return "there is nothing to repeat in front of \"" + piece + "\"";
    case RegexIssue::kSecondRepeat:
      return "a second repetition directly behind another";
    case RegexIssue::kBadBraces:
      return "braces hold a number, or two with a comma; for a plain brace write \"\\{\"";
    case RegexIssue::kBracesOrder:
      return "the second number in the braces is smaller than the first";
    case RegexIssue::kPlainBracket:
      return "a plain \"" + piece + "\" has to be written \"\\" + piece + "\"";
    case RegexIssue::kUnopenedGroup:
      return "there is no \"(\" for this \")\"";
    case RegexIssue::kUnclosedGroup:
      return "there is no \")\" for this \"(\"";
    case RegexIssue::kBadGroup:
      return HoldsFlags(expression.substr(reading.offset))
                 ? "there are no flags; for both cases of a letter write a class, \"[Ee]rror\""
                 : "\"(?\" has to be followed by \":\", \"=\" or \"!\"";
    case RegexIssue::kLookBehind:
      return "there is no looking behind; put it in front of the group that counts";
    case RegexIssue::kNamedGroup:
      return "groups cannot have names";
    case RegexIssue::kUnknownGroup:
      return "there is no group " + piece.substr(1) + " before this, or not inside the same look-ahead";
    case RegexIssue::kUnclosedClass:
      return piece == "[" ? "there is no \"]\" for this \"[\"" : "there is no \"" + piece.substr(1) + "]\" for this";
    case RegexIssue::kRangeOfClass:
      return "a range from or to a class of characters; put \"-\" last";
    case RegexIssue::kRangeOrder:
      return "the end of this range comes before its beginning";
    case RegexIssue::kCutEscape:
      return "a backslash at the end";
    case RegexIssue::kBadEscape:
      return "\"" + piece + "\" has no meaning; write " + ReplacementFor(piece[1]);
    case RegexIssue::kBadHex:
      return "\"" + piece + "\" has to be followed by " + (piece == "\\x" ? "2" : "4") + " hexadecimal digits";
    case RegexIssue::kBadControl:
      return "\"\\c\" has to be followed by a letter";
  }
  return "";
}

// How many endless loops of an expression can share a long run of one byte. A back-tracking search tries all ways to
// divide the run among them: its steps grow with the power of that number. Counted are the loops on a path through the
// expression that takes no other byte.
struct LoopCount {
  int most = 0;            // on any path
  int head = 0;            // on a path from the beginning
  int tail = 0;            // on a path to the end
  int through = 0;         // on a path from the beginning to the end
  bool passes = true;      // there is such a path
  bool isTwofold = false;  // there are two of them
};

constexpr int kManyLoops = 100;

LoopCount CountLoops(const RegexNode& node, size_t byte);

LoopCount CountLoopsInRow(const std::vector<RegexNode>& parts, size_t byte) {
  LoopCount row;
  for (const RegexNode& part : parts) {
    const LoopCount count = CountLoops(part, byte);
    row.most = std::max({row.most, count.most, row.tail + count.head});
    if (row.passes) row.head = std::max(row.head, row.tail + count.head);
    row.tail = count.passes ? std::max(row.tail + count.through, count.tail) : count.tail;
    row.through += count.through;
    row.passes = row.passes && count.passes;
    row.isTwofold = row.isTwofold || count.isTwofold;
  }
  return row;
}

LoopCount CountLoopsInChoice(const std::vector<RegexNode>& parts, size_t byte) {
  LoopCount best{.passes = false};
  for (const RegexNode& part : parts) {
    const LoopCount count = CountLoops(part, byte);
    best.most = std::max(best.most, count.most);
    best.head = std::max(best.head, count.head);
    best.tail = std::max(best.tail, count.tail);
    if (count.passes) best.through = std::max(best.through, count.through);
    best.isTwofold = best.isTwofold || count.isTwofold || (best.passes && count.passes);
    best.passes = best.passes || count.passes;
  }
  return best;
}

// A loop within an endless one is tried against itself, again and again; so are alternatives.
LoopCount CountLoopsInRepeat(const RegexNode& node, size_t byte) {
  LoopCount body = CountLoops(node.parts[0], byte);
  if (!body.passes) {
    body.passes = node.min == 0;
    body.through = 0;
    return body;
  }
  const int rounds = IsEndless(node) ? kManyLoops : std::min(node.max, kManyLoops);
  int loops = body.through * rounds;
  if (IsEndless(node)) loops = body.through > 0 || body.isTwofold ? kManyLoops : 1;
  loops = std::max(loops, body.most);
  return {.most = loops, .head = loops, .tail = loops, .through = loops};
}

LoopCount CountLoops(const RegexNode& node, size_t byte) {
  using Kind = RegexNode::Kind;
  switch (node.kind) {
    case Kind::kByte:
      return {.passes = node.bytes[byte]};
    case Kind::kSequence:
    case Kind::kFirstGroup:
      return CountLoopsInRow(node.parts, byte);
    case Kind::kChoice:
      return CountLoopsInChoice(node.parts, byte);
    case Kind::kRepeat:
      return CountLoopsInRepeat(node, byte);
    default:
      return {.most = node.parts.empty() ? 0 : CountLoops(node.parts[0], byte).most};
  }
}

// The byte of which a long line makes LLVM's std::regex give up: it allows a search 4096 steps for each byte. With two
// loops a line of 2000 bytes is enough.
std::optional<char> ByteToGiveUpOn(const RegexNode& root) {
  for (const size_t order : {size_t{0}, size_t{128}}) {
    for (size_t i = 0; i < 128; ++i) {
      const size_t byte = order + (i + 'a') % 128;  // letters first
      if (byte != '\n' && CountLoops(root, byte).most > 1) return static_cast<char>(byte);
    }
  }
  return std::nullopt;
}

// Whether an expression of which there is no tree may have two endless loops.
bool HasLoops(std::string_view expression) {
  return std::count_if(expression.begin(), expression.end(), [](char c) { return c == '*' || c == '+' || c == '{'; }) >
         1;
}

}  // namespace

ExpressionVerdict JudgeExpression(const std::string& expression) {
  ExpressionVerdict verdict;
  verdict.reading = ReadRegex(expression);
  if (verdict.isSound()) return verdict;
  const bool isFault = IsFault(verdict.reading.issue);
  std::string reason = WordsFor(verdict.reading, expression);
  try {
    const std::regex compiled(expression);
  } catch (const std::regex_error& error) {
    verdict.compiles = false;
    if (!isFault) reason = ReasonOf(error.code());
  }
  if (!verdict.compiles) {
    verdict.code = Code::kRegexInvalid;
    verdict.message = "invalid expression: " + reason;
  } else if (isFault) {
    verdict.code = Code::kRegexNotPortable;
    verdict.message = "the device refuses this expression: " + reason;
  } else if (!verdict.reading.tree && HasLoops(expression)) {
    verdict.givesUp = true;
    verdict.message =
        "left to std::regex, which on the device can give up on a long line and end the process: " + reason;
  } else if (const auto byte = verdict.reading.tree ? ByteToGiveUpOn(verdict.reading.tree->root) : std::nullopt) {
    verdict.givesUp = true;
    verdict.message = "left to std::regex, which on the device gives up on a line of many " +
                      Quoted(std::string(1, *byte)) + " and ends the process: " + reason;
  } else {
    verdict.message = "left to std::regex, which can end the process on the device: " + reason;
  }
  return verdict;
}
