// The filter cuts a trace, whose lines are in file order and without their tabs, into blocks of frame names, one per
// exception, and takes lines from the blocks up to a limit. A frame remembers its line for the sake of an observer. The
// std::stack overloads of the public interface convert to and from this form; the top of such a stack is the last line.

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "stack/frame_name.h"
#include "stack/stack_observer.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/limits.h"

namespace {

constexpr size_t kLongEnd = 28;           // lines kept on the favoured side of the cut
constexpr size_t kShortEnd = 2;           // lines kept on the other side
constexpr unsigned long kMinIgnored = 3;  // lines that stay of a part whose frames are all ignored

struct Frame {
  std::string name;
  size_t line = 0;
};
using Block = std::vector<Frame>;
using Lines = std::vector<std::string_view>;
using Part = std::span<const std::string_view>;

// The lines of a frame stack.
std::vector<std::string> FromTopDown(std::stack<std::string> stack) {
  std::vector<std::string> lines;
  for (lines.reserve(stack.size()); !stack.empty(); stack.pop()) lines.push_back(std::move(stack.top()));
  return lines;
}

std::vector<std::string> TakeNames(Block& block) {
  std::vector<std::string> names;
  names.reserve(block.size());
  for (Frame& frame : block) names.push_back(std::move(frame.name));
  return names;
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

// Cuts the lines of a trace into blocks. `count` as in StackUtil::MatchIgnoreLibrary; `observer` may be null.
class TraceCutter {
 public:
  TraceCutter(Lines lines, unsigned long count, StackObserver* observer = nullptr)
      : lines_(std::move(lines)), count_(count), observer_(observer) {}

  // The blocks as StackToMultipart gives them: those of the last lines first.
  std::list<Block> blocks() const {
    std::list<Block> blocks;
    size_t end = lines_.size();
    for (size_t i = lines_.size(); i > 0; --i) {
      if (!HoldsAnyOf(lines_[i - 1], kCauseMarks)) continue;
      Frame heading{StackUtil::MatchExceptionLibrary(std::string(lines_[i - 1])), i - 1};
      tell(heading, i < end ? FrameFate::kHeading : FrameFate::kNoFrames);
      if (i < end) {
        blocks.push_back(blockOf(i, end));
        blocks.back().insert(blocks.back().begin(), std::move(heading));
      }
      end = i - 1;
    }
    if (end > 0) blocks.push_back(blockOf(0, end));
    return blocks;
  }

  // The frames of the lines from `begin` up to `end`.
  Block blockOf(size_t begin, size_t end) const {
    Block block = namedFrames(begin, end);
    if (block.empty()) block = noiseFrames(begin, end);
    if (observer_ != nullptr) observer_->onBlock(block.size());
    return block;
  }

 private:
  void tell(const Frame& frame, FrameFate fate) const {
    if (observer_ != nullptr) observer_->onFrame(frame.line, frame.name, fate);
  }

  Block namedFrames(size_t begin, size_t end) const {
    Block block;
    for (size_t i = begin; i < end; ++i) {
      Frame frame{FrameName(lines_[i]), i};
      const bool isIgnored = StackUtil::IsIgnoreLibrary(frame.name);
      tell(frame, isIgnored ? FrameFate::kIgnored : FrameFate::kKept);
      if (isIgnored) continue;
      if (block.empty()) block.reserve(end - begin + 1);  // and the name of an exception
      block.push_back(std::move(frame));
    }
    return block;
  }

  // All of the frames are ignored: those from where noise is made to begin.
  Block noiseFrames(size_t begin, size_t end) const {
    Block block;
    const size_t kept = begin + BeginOfNoise(Part(lines_).subspan(begin, end - begin), count_);
    block.reserve(end - kept + 1);
    for (size_t i = begin; i < end; ++i) {
      Frame frame{FrameName(lines_[i]), i};
      tell(frame, i < kept ? FrameFate::kBeforePanic : FrameFate::kIgnoredButKept);
      if (i >= kept) block.push_back(std::move(frame));
    }
    return block;
  }

  const Lines lines_;
  const unsigned long count_;
  StackObserver* const observer_;
};

// The blocks of a frame stack.
std::list<Block> BlocksOf(std::vector<std::string> fromTopDown, unsigned long count) {
  for (std::string& line : fromTopDown) std::erase(line, '\t');
  return TraceCutter(Lines(fromTopDown.rbegin(), fromTopDown.rend()), count).blocks();
}

// Cuts the frames to the first `head` and the last `kMaxStackLines` - `head` ones.
void TrimMiddle(std::vector<const Frame*>& frames, size_t head) {
  if (frames.size() <= kMaxStackLines) return;
  const auto begin = frames.begin();
  frames.erase(begin + static_cast<ptrdiff_t>(head), frames.end() - static_cast<ptrdiff_t>(kMaxStackLines - head));
}

// The frames of the blocks in order, trimmed. A long block keeps its beginning; where short blocks add up, the end of
// the last one taken is kept instead, which is nearer the main exception.
std::vector<const Frame*> AccumulateBlocks(const std::list<Block>& blocks) {
  std::vector<const Frame*> frames;
  for (const Block& block : blocks) {
    if (frames.size() >= kMaxStackLines) break;
    for (const Frame& frame : block) frames.push_back(&frame);
  }
  const bool keepBeginning = blocks.size() == 1 || (!blocks.empty() && blocks.front().size() > kMaxStackLines);
  TrimMiddle(frames, keepBeginning ? kLongEnd : kShortEnd);
  return frames;
}

// The names of the frames, one a line. An empty name leaves no line.
std::string TextOf(const std::vector<const Frame*>& frames) {
  std::string text;
  for (const Frame* frame : frames) {
    if (frame->name.empty()) continue;
    if (!text.empty()) text += "\r\n";
    text += frame->name;
  }
  return text;
}

// Takes the names of the first block that has any, without the exception name in front, last frame first.
std::vector<std::string> TakeNamingFrames(std::list<Block>& blocks, StackObserver* observer) {
  size_t index = 0;
  for (Block& block : blocks) {
    const bool named = blocks.size() > 1 && !block.empty() && StackUtil::HasExceptionList(block.front().name);
    if (block.size() > (named ? 1u : 0u)) {
      if (observer != nullptr) observer->onNamingBlock(index);
      std::vector<std::string> names = TakeNames(block);
      std::reverse(names.begin(), names.end());
      if (named) names.pop_back();
      return names;
    }
    ++index;
  }
  return {};
}

// What GetFilterTrace gives.
std::string Filtered(std::list<Block> blocks, std::vector<std::string>& names, StackObserver* observer) {
  const std::vector<const Frame*> frames = AccumulateBlocks(blocks);
  std::string text = TextOf(frames);
  if (observer != nullptr) {
    std::vector<size_t> lines;
    for (const Frame* frame : frames) lines.push_back(frame->line);
    observer->onFiltered(lines);
  }
  names = TakeNamingFrames(blocks, observer);
  return text;
}

std::string FilteredTrace(const std::string& trace, std::vector<std::string>& names, StackObserver* observer) {
  std::string text;
  Lines lines;
  text.reserve(trace.size());  // so that the views stay good
  lines.reserve(static_cast<size_t>(std::count(trace.begin(), trace.end(), '\n')) + 1);
  for (size_t begin = 0, end = 0; begin < trace.size(); begin = end + 1) {
    end = std::min(trace.find('\n', begin), trace.size());
    if (end == begin) continue;
    if (observer != nullptr) observer->onLine(std::string_view(trace).substr(begin, end - begin));
    const size_t from = text.size();
    text.append(trace, begin, end - begin);
    text.erase(std::remove(text.begin() + static_cast<ptrdiff_t>(from), text.end(), '\t'), text.end());
    lines.emplace_back(text.data() + from, text.size() - from);
  }
  return Filtered(TraceCutter(std::move(lines), kMinIgnored, observer).blocks(), names, observer);
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
  return FilteredTrace(trace, lines, nullptr);
}

std::string ObserveFilterTrace(const std::string& trace, std::vector<std::string>& lines, StackObserver& observer) {
  return FilteredTrace(trace, lines, &observer);
}

std::string StackUtil::GetValidBlock(std::stack<std::string> frames, std::vector<std::string>& lines) {
  return Filtered(BlocksOf(FromTopDown(std::move(frames)), kMinIgnored), lines, nullptr);
}

std::list<std::vector<std::string>> StackUtil::StackToMultipart(std::stack<std::string>& frames, unsigned long count) {
  std::list<std::vector<std::string>> parts;
  for (Block& block : BlocksOf(FromTopDown(std::exchange(frames, {})), count)) parts.push_back(TakeNames(block));
  return parts;
}

std::vector<std::string> StackUtil::GetValidStack(unsigned long count, std::stack<std::string>& part) {
  const std::vector<std::string> lines = FromTopDown(part);
  Block block = TraceCutter(Lines(lines.begin(), lines.end()), count).blockOf(0, lines.size());
  return TakeNames(block);
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
