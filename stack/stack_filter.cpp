#include <algorithm>
#include <deque>
#include <utility>

#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/string_util.h"

namespace {

constexpr size_t kMaxLines = 30;          // lines of a filtered stack
constexpr size_t kLongEnd = 28;           // of which so many stand before or behind the cut...
constexpr size_t kShortEnd = 2;           // ...and so many on its other side
constexpr unsigned long kMinIgnored = 3;  // lines that stay of a part whose frames are all ignored
constexpr unsigned long kNamedFrames = 3;

using Block = std::vector<std::string>;

// The elements of a stack, its top last. A copy to walk through would double the memory that a long trace takes.
const std::deque<std::string>& ElementsOf(const std::stack<std::string>& stack) {
  struct Open : std::stack<std::string> {
    static const std::deque<std::string>& of(const std::stack<std::string>& stack) { return stack.*&Open::c; }
  };
  return Open::of(stack);
}

// How many of a part's lines stay, counted from its bottom, when all its frames are ignored: those from its first kernel
// panic frame on, else from its first frame of a lesser level, as long as more than `count` follow.
size_t CountFromNoise(const std::deque<std::string>& elements, unsigned long count) {
  for (size_t level = kIgnoreLevels.size() - 1; level > 0; --level) {
    for (size_t left = elements.size(); left > count; --left) {
      if (HoldsAnyOf(elements[left - 1], kIgnoreLevels[level])) return left;
    }
  }
  return elements.size();
}

// Cuts the lines to the first `head` and the last `kMaxLines` - `head` ones.
void TrimMiddle(Block& lines, size_t head) {
  if (lines.size() <= kMaxLines) return;
  const auto begin = lines.begin();
  lines.erase(begin + static_cast<ptrdiff_t>(head), lines.end() - static_cast<ptrdiff_t>(kMaxLines - head));
}

// Appends the lines of a block, of a long one no more than can be left by trimming.
void AppendEnds(const Block& block, Block& lines) {
  for (size_t i = 0; i < block.size(); ++i) {
    if (i < kMaxLines || block.size() - i <= kMaxLines) lines.push_back(block[i]);
  }
}

// The lines of the blocks in order, trimmed. A long block keeps its beginning; where short blocks add up, the end of
// the last one taken is kept instead, which is nearer the main exception.
Block AccumulateBlocks(const std::list<Block>& blocks) {
  Block lines;
  for (const Block& block : blocks) {
    if (lines.size() >= kMaxLines) break;
    AppendEnds(block, lines);
  }
  const bool keepBeginning = blocks.size() == 1 || (!blocks.empty() && blocks.front().size() > kMaxLines);
  TrimMiddle(lines, keepBeginning ? kLongEnd : kShortEnd);
  return lines;
}

// Takes the frames of the first block that has any, without the exception name in front, last frame first.
Block TakeNamingFrames(std::list<Block>& blocks) {
  for (Block& block : blocks) {
    const bool named = blocks.size() > 1 && !block.empty() && StackUtil::HasExceptionList(block.front());
    if (block.size() <= (named ? 1u : 0u)) continue;
    std::reverse(block.begin(), block.end());
    if (named) block.pop_back();
    return std::move(block);
  }
  return {};
}

}  // namespace

void StackUtil::FilterTrace(std::map<std::string, std::string>& result, std::string ignored) {
  const auto stack = result.find("STACK");
  if (stack == result.end() || stack->second.empty()) return;
  std::vector<std::string> lines;
  stack->second = GetFilterTrace(stack->second, lines, std::move(ignored));
  result["FINGERPRINT"] = CalcFingerPrint(stack->second, stack->second.size(), 1);
  std::stack<std::string> top = GetStackTop(lines, kNamedFrames);
  SetFrame(top, result);
}

std::string StackUtil::GetFilterTrace(const std::string& trace, std::vector<std::string>& lines,
                                      std::string /*ignored*/) {
  std::stack<std::string> frames;
  for (size_t begin = 0, end = 0; begin < trace.size(); begin = end + 1) {
    end = std::min(trace.find('\n', begin), trace.size());
    if (end > begin) frames.push(trace.substr(begin, end - begin));
  }
  return GetValidBlock(std::move(frames), lines);
}

std::string StackUtil::GetValidBlock(std::stack<std::string> frames, std::vector<std::string>& lines) {
  static const std::string kLineEnd = "\r\n";
  std::list<Block> blocks = StackToMultipart(frames, kMinIgnored);
  std::string text = StringUtil::VectorToString(AccumulateBlocks(blocks), false, kLineEnd);
  lines = TakeNamingFrames(blocks);
  if (!text.empty()) text.resize(text.size() - kLineEnd.size());
  return text;
}

std::list<std::vector<std::string>> StackUtil::StackToMultipart(std::stack<std::string>& frames, unsigned long count) {
  std::list<Block> blocks;
  std::stack<std::string> part;
  for (; !frames.empty(); frames.pop()) {
    std::string& line = frames.top();
    std::erase(line, '\t');
    if (!HasCausedBy(line)) {
      part.push(std::move(line));
    } else if (!part.empty()) {
      blocks.push_back(GetValidStack(count, part));
      blocks.back().insert(blocks.back().begin(), MatchExceptionLibrary(line));
      part = {};
    }
  }
  if (!part.empty()) blocks.push_back(GetValidStack(count, part));
  return blocks;
}

std::vector<std::string> StackUtil::GetValidStack(unsigned long count, std::stack<std::string>& part) {
  std::vector<std::string> names;
  const std::deque<std::string>& elements = ElementsOf(part);
  for (auto line = elements.rbegin(); line != elements.rend(); ++line) {
    std::string name = GetStackName(*line);
    if (!IsIgnoreLibrary(name)) names.push_back(std::move(name));
  }
  if (!names.empty()) return names;
  const size_t left = CountFromNoise(elements, count);
  names.reserve(left);
  for (size_t i = left; i > 0; --i) names.push_back(GetStackName(elements[i - 1]));
  return names;
}

std::vector<std::string> StackUtil::GetValidStack(int count, std::stack<std::string> head,
                                                  std::stack<std::string>& part) {
  const unsigned long limit = static_cast<unsigned long>(std::max(count, 0));
  std::vector<std::string> trace;
  for (; !head.empty(); head.pop()) {
    if (IsCallStack(head.top())) trace.push_back(std::move(head.top()));
  }
  std::reverse(trace.begin(), trace.end());
  part = {};
  for (std::stack<std::string> top = GetStackTop(trace, limit); !top.empty(); top.pop()) part.push(top.top());
  return GetValidStack(limit, part);
}

void StackUtil::MatchIgnoreLibrary(std::stack<std::string> input, std::stack<std::string>& output,
                                   unsigned long count) {
  const size_t left = CountFromNoise(ElementsOf(input), count);
  while (input.size() > left) input.pop();
  output = std::move(input);
}

void StackUtil::SetFrame(std::stack<std::string>& top, std::map<std::string, std::string>& result) {
  for (const char* key : {"FST_FRAME", "SEC_FRAME", "LAST_FRAME"}) {
    if (top.empty()) return;
    result.try_emplace(key, std::move(top.top()));
    top.pop();
  }
  top = {};
}
