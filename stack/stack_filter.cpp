// The filter works on views of the trace's lines, without their tabs and in file order. The std::stack overloads of the
// public interface convert to this form first; the top of such a stack is the last line.

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "stack/frame_name.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/string_util.h"

namespace {

constexpr size_t kMaxLines = 30;          // lines of a filtered stack
constexpr size_t kLongEnd = 28;           // lines kept on the favoured side of the cut
constexpr size_t kShortEnd = 2;           // lines kept on the other side
constexpr unsigned long kMinIgnored = 3;  // lines that stay of a part whose frames are all ignored

using Block = std::vector<std::string>;
using Lines = std::vector<std::string_view>;
using Part = std::span<const std::string_view>;

// The lines of a frame stack.
std::vector<std::string> FromTopDown(std::stack<std::string> stack) {
  std::vector<std::string> lines;
  for (lines.reserve(stack.size()); !stack.empty(); stack.pop()) lines.push_back(std::move(stack.top()));
  return lines;
}

// Where a part whose frames are all ignored begins.
size_t BeginOfNoise(Part part, unsigned long count) {
  for (size_t level = kIgnoreLevels.size() - 1; level > 0; --level) {
    for (size_t i = 0; i + count < part.size(); ++i) {
      if (HoldsAnyOf(part[i], kIgnoreLevels[level])) return i;
    }
  }
  return 0;
}

Block NamesOf(Part part, unsigned long count) {
  Block names;
  for (const std::string_view line : part) {
    std::string name = FrameName(line);
    if (StackUtil::IsIgnoreLibrary(name)) continue;
    if (names.empty()) names.reserve(part.size() + 1);  // and the name of an exception
    names.push_back(std::move(name));
  }
  if (!names.empty()) return names;
  part = part.subspan(BeginOfNoise(part, count));
  names.reserve(part.size() + 1);
  for (const std::string_view line : part) names.push_back(FrameName(line));
  return names;
}

// The blocks as StackToMultipart gives them.
std::list<Block> BlocksOf(const Lines& lines, unsigned long count) {
  std::list<Block> blocks;
  size_t end = lines.size();
  for (size_t i = lines.size(); i > 0; --i) {
    if (!HoldsAnyOf(lines[i - 1], kCauseMarks)) continue;
    if (i < end) {
      blocks.push_back(NamesOf(Part(lines).subspan(i, end - i), count));
      blocks.back().insert(blocks.back().begin(), StackUtil::MatchExceptionLibrary(std::string(lines[i - 1])));
    }
    end = i - 1;
  }
  if (end > 0) blocks.push_back(NamesOf(Part(lines).first(end), count));
  return blocks;
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

// What GetFilterTrace gives.
std::string Filtered(std::list<Block> blocks, std::vector<std::string>& lines) {
  static const std::string kLineEnd = "\r\n";
  std::string text = StringUtil::VectorToString(AccumulateBlocks(blocks), false, kLineEnd);
  lines = TakeNamingFrames(blocks);
  if (!text.empty()) text.resize(text.size() - kLineEnd.size());
  return text;
}

}  // namespace

void StackUtil::FilterTrace(std::map<std::string, std::string>& result, std::string ignored) {
  const auto stack = result.find(kStackKey);
  if (stack == result.end() || stack->second.empty()) return;
  std::vector<std::string> lines;
  stack->second = GetFilterTrace(stack->second, lines, std::move(ignored));
  result[kFingerprintKey] = CalcFingerPrint(stack->second, stack->second.size(), 1);
  std::stack<std::string> top = GetStackTop(lines, kFrameKeys.size());
  SetFrame(top, result);
}

std::string StackUtil::GetFilterTrace(const std::string& trace, std::vector<std::string>& lines,
                                      std::string /*ignored*/) {
  std::string text;
  Lines views;
  text.reserve(trace.size());  // so that the views stay good
  views.reserve(static_cast<size_t>(std::count(trace.begin(), trace.end(), '\n')) + 1);
  for (size_t begin = 0, end = 0; begin < trace.size(); begin = end + 1) {
    end = std::min(trace.find('\n', begin), trace.size());
    if (end == begin) continue;
    const size_t from = text.size();
    text.append(trace, begin, end - begin);
    text.erase(std::remove(text.begin() + static_cast<ptrdiff_t>(from), text.end(), '\t'), text.end());
    views.emplace_back(text.data() + from, text.size() - from);
  }
  return Filtered(BlocksOf(views, kMinIgnored), lines);
}

std::string StackUtil::GetValidBlock(std::stack<std::string> frames, std::vector<std::string>& lines) {
  return Filtered(StackToMultipart(frames, kMinIgnored), lines);
}

std::list<std::vector<std::string>> StackUtil::StackToMultipart(std::stack<std::string>& frames, unsigned long count) {
  std::vector<std::string> lines = FromTopDown(std::exchange(frames, {}));
  for (std::string& line : lines) std::erase(line, '\t');
  return BlocksOf(Lines(lines.rbegin(), lines.rend()), count);
}

std::vector<std::string> StackUtil::GetValidStack(unsigned long count, std::stack<std::string>& part) {
  const std::vector<std::string> lines = FromTopDown(part);
  return NamesOf(Lines(lines.begin(), lines.end()), count);
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
  const std::vector<std::string> lines = FromTopDown(input);
  for (size_t i = BeginOfNoise(Lines(lines.begin(), lines.end()), count); i > 0; --i) input.pop();
  output = std::move(input);
}

void StackUtil::SetFrame(std::stack<std::string>& top, std::map<std::string, std::string>& result) {
  for (const char* key : kFrameKeys) {
    if (top.empty()) return;
    result.try_emplace(key, std::move(top.top()));
    top.pop();
  }
  top = {};
}
