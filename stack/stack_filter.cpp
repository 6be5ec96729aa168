// The filter cuts a trace into blocks, one per exception, and takes lines from the blocks up to a limit. A block is a
// list of indexes of lines, which are in file order and without their tabs: what stands for a line is made from the
// line alone, and made when it is asked for. The std::stack overloads of the public interface convert to and from this
// form; the top of such a stack is the last line.

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "stack/frame_name.h"
#include "stack/stack_observer.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/limits.h"
#include "util/string_util.h"

namespace {

constexpr size_t kLongEnd = 28;           // lines kept on the favoured side of the cut
constexpr size_t kShortEnd = 2;           // lines kept on the other side
constexpr unsigned long kMinIgnored = 3;  // lines that stay of a part whose frames are all ignored

using Block = std::vector<size_t>;
using Lines = std::vector<std::string_view>;
using Part = std::span<const std::string_view>;

// The lines of a frame stack.
std::vector<std::string> FromTopDown(std::stack<std::string> stack) {
  std::vector<std::string> lines;
  for (lines.reserve(stack.size()); !stack.empty(); stack.pop()) lines.push_back(std::move(stack.top()));
  return lines;
}

std::vector<std::string> WithoutTabs(std::stack<std::string> stack) {
  std::vector<std::string> lines = FromTopDown(std::move(stack));
  for (std::string& line : lines) std::erase(line, '\t');
  return lines;
}

// What stands for a line in the filtered stack: of one that opens a chained exception, the name of that.
std::string NameOf(std::string_view line) {
  return HoldsAnyOf(line, kCauseMarks) ? StackUtil::MatchExceptionLibrary(std::string(line)) : FrameName(line);
}

std::vector<std::string> NamesOf(const Lines& lines, const Block& block) {
  std::vector<std::string> names;
  names.reserve(block.size());
  for (const size_t line : block) names.push_back(NameOf(lines[line]));
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
  TraceCutter(const Lines& lines, unsigned long count, StackObserver* observer)
      : lines_(lines), count_(count), observer_(observer) {}

  // The blocks as StackToMultipart gives them: those of the last lines first.
  std::list<Block> blocks() const {
    std::list<Block> blocks;
    size_t end = lines_.size();
    for (size_t i = lines_.size(); i > 0; --i) {
      if (!HoldsAnyOf(lines_[i - 1], kCauseMarks)) continue;
      tell(i - 1, i < end ? FrameFate::kHeading : FrameFate::kNoFrames);
      if (i < end) {
        blocks.push_back(blockOf(i, end));
        blocks.back().insert(blocks.back().begin(), i - 1);
      }
      end = i - 1;
    }
    if (end > 0) blocks.push_back(blockOf(0, end));
    return blocks;
  }

  // The frames of the lines from `begin` up to `end`.
  Block blockOf(size_t begin, size_t end) const {
    Block block;
    for (size_t i = begin; i < end; ++i) {
      const bool isIgnored = StackUtil::IsIgnoreLibrary(FrameName(lines_[i]));
      tell(i, isIgnored ? FrameFate::kIgnored : FrameFate::kKept);
      if (isIgnored) continue;
      if (block.empty()) block.reserve(end - begin + 1);  // and the name of an exception
      block.push_back(i);
    }
    if (block.empty()) block = noiseOf(begin, end);
    if (observer_ != nullptr) observer_->onBlock(block.size());
    return block;
  }

 private:
  void tell(size_t line, FrameFate fate) const {
    if (observer_ != nullptr) observer_->onFrame(line, NameOf(lines_[line]), fate);
  }

  // All of the frames are ignored: those from where noise is made to begin.
  Block noiseOf(size_t begin, size_t end) const {
    Block block;
    const size_t kept = begin + BeginOfNoise(Part(lines_).subspan(begin, end - begin), count_);
    block.reserve(end - kept + 1);
    for (size_t i = begin; i < end; ++i) {
      tell(i, i < kept ? FrameFate::kBeforePanic : FrameFate::kIgnoredButKept);
      if (i >= kept) block.push_back(i);
    }
    return block;
  }

  const Lines& lines_;
  const unsigned long count_;
  StackObserver* const observer_;
};

// Cuts the lines to the first `head` and the last `kMaxStackLines` - `head` ones.
void TrimMiddle(Block& lines, size_t head) {
  if (lines.size() <= kMaxStackLines) return;
  const auto begin = lines.begin();
  lines.erase(begin + static_cast<ptrdiff_t>(head), lines.end() - static_cast<ptrdiff_t>(kMaxStackLines - head));
}

// Appends the lines of a block, of a long one no more than can be left by trimming.
void AppendEnds(const Block& block, Block& lines) {
  for (size_t i = 0; i < block.size(); ++i) {
    if (i < kMaxStackLines || block.size() - i <= kMaxStackLines) lines.push_back(block[i]);
  }
}

// The lines of the blocks in order, trimmed. A long block keeps its beginning; where short blocks add up, the end of
// the last one taken is kept instead, which is nearer the main exception.
Block AccumulateBlocks(const std::list<Block>& blocks) {
  Block lines;
  for (const Block& block : blocks) {
    if (lines.size() >= kMaxStackLines) break;
    AppendEnds(block, lines);
  }
  const bool keepBeginning = blocks.size() == 1 || (!blocks.empty() && blocks.front().size() > kMaxStackLines);
  TrimMiddle(lines, keepBeginning ? kLongEnd : kShortEnd);
  return lines;
}

// The lines of the first block that has any frames, without the exception name in front, last line first.
Block NamingLines(const Lines& lines, const std::list<Block>& blocks, StackObserver* observer) {
  size_t index = 0;
  for (const Block& block : blocks) {
    const bool named = blocks.size() > 1 && !block.empty() && StackUtil::HasExceptionList(NameOf(lines[block.front()]));
    if (block.size() > (named ? 1u : 0u)) {
      if (observer != nullptr) observer->onNamingBlock(index);
      return Block(block.rbegin(), block.rend() - (named ? 1 : 0));
    }
    ++index;
  }
  return {};
}

struct FilteredStack {
  std::string text;  // an empty name leaves no line in it
  Block naming;
};

FilteredStack Filtered(const Lines& lines, StackObserver* observer) {
  static const std::string kLineEnd = "\r\n";
  const std::list<Block> blocks = TraceCutter(lines, kMinIgnored, observer).blocks();
  const Block kept = AccumulateBlocks(blocks);
  if (observer != nullptr) observer->onFiltered(kept);
  std::string text = StringUtil::VectorToString(NamesOf(lines, kept), false, kLineEnd);
  if (!text.empty()) text.resize(text.size() - kLineEnd.size());
  return {std::move(text), NamingLines(lines, blocks, observer)};
}

// The lines of a trace without their tabs. Empty lines are none.
class TraceLines {
 public:
  TraceLines(const std::string& trace, StackObserver* observer) {
    text_.reserve(trace.size());  // so that the views stay good
    views_.reserve(static_cast<size_t>(std::count(trace.begin(), trace.end(), '\n')) + 1);
    for (size_t begin = 0, end = 0; begin < trace.size(); begin = end + 1) {
      end = std::min(trace.find('\n', begin), trace.size());
      if (end == begin) continue;
      if (observer != nullptr) observer->onLine(std::string_view(trace).substr(begin, end - begin));
      const size_t from = text_.size();
      text_.append(trace, begin, end - begin);
      text_.erase(std::remove(text_.begin() + static_cast<ptrdiff_t>(from), text_.end(), '\t'), text_.end());
      views_.emplace_back(text_.data() + from, text_.size() - from);
    }
  }
  TraceLines(const TraceLines&) = delete;
  TraceLines& operator=(const TraceLines&) = delete;

  const Lines& views() const { return views_; }

 private:
  std::string text_;
  Lines views_;
};

std::string FilteredTrace(const std::string& trace, std::vector<std::string>& names, StackObserver* observer) {
  const TraceLines lines(trace, observer);
  FilteredStack filtered = Filtered(lines.views(), observer);
  names = NamesOf(lines.views(), filtered.naming);
  return std::move(filtered.text);
}

}  // namespace

void StackUtil::FilterTrace(std::map<std::string, std::string>& result, std::string /*ignored*/) {
  const auto stack = result.find(kStackKey);
  if (stack == result.end() || stack->second.empty()) return;
  const TraceLines lines(stack->second, nullptr);
  auto [text, naming] = Filtered(lines.views(), nullptr);
  // Of a long block GetStackTop takes these alone: no other is named.
  if (naming.size() > kFrameKeys.size()) {
    naming.erase(naming.begin() + 1, naming.end() - static_cast<ptrdiff_t>(kFrameKeys.size() - 1));
  }
  stack->second = std::move(text);
  result[kFingerprintKey] = CalcFingerPrint(stack->second, stack->second.size(), 1);
  std::stack<std::string> top = GetStackTop(NamesOf(lines.views(), naming), kFrameKeys.size());
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
  const std::vector<std::string> fromTopDown = WithoutTabs(std::move(frames));
  const Lines views(fromTopDown.rbegin(), fromTopDown.rend());
  FilteredStack filtered = Filtered(views, nullptr);
  lines = NamesOf(views, filtered.naming);
  return std::move(filtered.text);
}

std::list<std::vector<std::string>> StackUtil::StackToMultipart(std::stack<std::string>& frames, unsigned long count) {
  const std::vector<std::string> fromTopDown = WithoutTabs(std::exchange(frames, {}));
  const Lines lines(fromTopDown.rbegin(), fromTopDown.rend());
  std::list<std::vector<std::string>> parts;
  for (const Block& block : TraceCutter(lines, count, nullptr).blocks()) parts.push_back(NamesOf(lines, block));
  return parts;
}

std::vector<std::string> StackUtil::GetValidStack(unsigned long count, std::stack<std::string>& part) {
  const std::vector<std::string> fromTopDown = FromTopDown(part);
  const Lines lines(fromTopDown.begin(), fromTopDown.end());
  std::vector<std::string> names;
  for (const size_t line : TraceCutter(lines, count, nullptr).blockOf(0, lines.size())) {
    names.push_back(FrameName(lines[line]));
  }
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
