// What the stack filter makes of each line. The steps are the library's own; only their order is repeated here, and at
// the end the outcome is compared with that of the whole filter.

#include <algorithm>
#include <list>
#include <stack>

#include "cli/explain/story_parts.h"
#include "regex/regex.h"
#include "stack/frame_name.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/string_util.h"

namespace {

constexpr unsigned long kMinIgnored = 3;  // the library's "count" for a block whose frames are all ignored
constexpr size_t kMaxLines = 200;         // lines of the log that a stack is cut from
constexpr size_t kMaxLineLen = 2048;      // bytes of a line that is read for a stack
constexpr char kLineEnd[] = "\r\n";
const std::string kMark = "mark";

using Block = std::vector<std::string>;

FrameForm FormOf(const std::string& line) {
  if (StackUtil::HasCausedBy(line)) return FrameForm::kCause;
  if (JavaFrameInParentheses(line) || JavaFrame(line)) return FrameForm::kJava;
  if (NativeFrameWithOffset(line) || NativeFrame(line)) return FrameForm::kNative;
  if (KernelFrame(line)) return FrameForm::kKernel;
  return HyphenLine(line) ? FrameForm::kHyphen : FrameForm::kOther;
}

FrameStory TellFrame(const std::string& line) {
  FrameStory frame{.text = line, .line = {}, .name = "", .ignoredName = ""};
  std::string read = line;
  std::erase(read, '\t');
  frame.form = FormOf(read);
  if (frame.form == FrameForm::kCause) {
    frame.name = StackUtil::MatchExceptionLibrary(read);
    return frame;
  }
  frame.name = StackUtil::GetStackName(read);
  for (size_t level = 0; level < kIgnoreLevels.size() && frame.ignoredLevel == 0; ++level) {
    for (const std::string_view name : kIgnoreLevels[level]) {
      if (frame.name.find(name) == std::string::npos) continue;
      frame.ignoredName = name;
      frame.ignoredLevel = static_cast<int>(level) + 1;
      break;
    }
  }
  return frame;
}

// The frames of one exception, `frames[from]` up to `frames[to]`, as the library gives them. Notes what becomes of
// each.
Block BlockOf(std::vector<FrameStory>& frames, size_t from, size_t to, size_t block) {
  std::stack<std::string> part;
  for (size_t i = to; i > from; --i) {
    part.push(frames[i - 1].text);
    std::erase(part.top(), '\t');
  }
  const bool isNoise =
      std::all_of(frames.begin() + static_cast<ptrdiff_t>(from), frames.begin() + static_cast<ptrdiff_t>(to),
                  [](const FrameStory& frame) { return frame.ignoredLevel > 0; });
  size_t begin = from;
  if (isNoise) {
    std::stack<std::string> kept;
    StackUtil::MatchIgnoreLibrary(part, kept, kMinIgnored);
    begin = to - kept.size();
  }
  for (size_t i = from; i < to; ++i) {
    FrameStory& frame = frames[i];
    frame.block = block;
    if (i < begin) {
      frame.fate = FrameFate::kBeforePanic;
    } else if (frame.ignoredLevel > 0) {
      frame.fate = isNoise ? FrameFate::kIgnoredButKept : FrameFate::kIgnored;
    } else if (frame.name.empty()) {
      frame.fate = FrameFate::kEmpty;
    }
  }
  return StackUtil::GetValidStack(kMinIgnored, part);
}

bool IsNamed(const FrameStory& frame) {
  return frame.fate == FrameFate::kKept || frame.fate == FrameFate::kIgnoredButKept ||
         frame.fate == FrameFate::kEmpty || frame.fate == FrameFate::kHeading;
}

// The places in a filtered stack that the limit of lines leaves. It depends on the sizes of the blocks alone, so the
// library is asked with a mark in place of each line.
std::vector<bool> KeptByLimit(const std::vector<BlockStory>& blocks) {
  std::stack<std::string> marks;
  size_t size = 0;
  for (const BlockStory& block : blocks) size += block.frames + (block.heading.empty() ? 0 : 1);
  size_t end = size;
  for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
    const size_t begin = end - block->frames;
    if (!block->heading.empty()) marks.emplace("Caused by:");
    for (size_t at = begin; at < end; ++at) marks.push(kMark + std::to_string(at));
    end = begin - (block->heading.empty() ? 0 : 1);
  }
  std::vector<std::string> unused;
  std::vector<std::string> lines;
  StringUtil::SplitStr(StackUtil::GetValidBlock(std::move(marks), unused), kLineEnd, lines, false, false);
  std::vector<bool> kept(size, false);
  // The limit may cut a heading off its block, but never all frames behind a heading.
  bool followsHeading = false;
  for (const std::string& line : lines) {
    const bool isMark = line.starts_with(kMark);
    if (isMark) {
      const size_t at = std::stoul(line.substr(kMark.size()));
      kept[at] = true;
      if (followsHeading && at > 0) kept[at - 1] = true;
    }
    followsHeading = !isMark;
  }
  return kept;
}

// The lines of "STACK" that the filter reads.
std::vector<FrameStory> FramesOf(const std::string& trace) {
  std::vector<FrameStory> frames;
  std::vector<std::string> lines;
  StringUtil::SplitStr(trace, "\n", lines, false, false);
  for (const std::string& line : lines) frames.push_back(TellFrame(line));
  return frames;
}

// The frames from the last one back, cut into blocks at the lines that open causes.
std::list<Block> CutIntoBlocks(StackStory& stack) {
  std::list<Block> blocks;
  size_t to = stack.frames.size();
  const auto add = [&](size_t from, const std::string& heading) {
    const size_t block = stack.blocks.size();
    blocks.push_back(BlockOf(stack.frames, from, to, block));
    stack.blocks.push_back({heading, blocks.back().size(), false});
    if (!heading.empty()) blocks.back().insert(blocks.back().begin(), heading);
  };
  for (size_t i = stack.frames.size(); i > 0; --i) {
    FrameStory& frame = stack.frames[i - 1];
    if (frame.form != FrameForm::kCause) continue;
    frame.fate = i < to ? FrameFate::kHeading : FrameFate::kNoFrames;
    frame.block = stack.blocks.size();
    if (i < to) add(i, frame.name);
    to = i - 1;
  }
  if (to > 0) add(0, "");
  return blocks;
}

// Marks what the limit of lines cuts.
void CutToLimit(StackStory& stack) {
  const std::vector<bool> kept = KeptByLimit(stack.blocks);
  size_t at = 0;
  for (size_t block = 0; block < stack.blocks.size(); ++block) {
    for (FrameStory& frame : stack.frames) {
      if (frame.block != block || !IsNamed(frame)) continue;
      const bool isCut = at < kept.size() && !kept[at];
      ++at;
      if (isCut) frame.fate = frame.fate == FrameFate::kHeading ? FrameFate::kCutHeading : FrameFate::kCut;
    }
  }
}

// Finds out whose frames name the stack, by what the library gives as names.
void FindNamingBlock(StackStory& stack, const std::list<Block>& blocks, Block names) {
  std::reverse(names.begin(), names.end());
  size_t i = 0;
  for (Block block : blocks) {
    BlockStory& told = stack.blocks[i++];
    if (block != names && !told.heading.empty()) block.erase(block.begin());
    told.namesTheStack = block == names;
    if (told.namesTheStack) return;
  }
}

// The template and run that gave "STACK".
const TemplateStory* FindTemplate(const Story& story, const RunStory*& giver) {
  for (const RunStory& run : story.runs) {
    for (const TemplateStory& candidate : run.templates) {
      if (candidate.key != kStackKey || candidate.value.empty()) continue;
      giver = &run;
      return &candidate;
    }
  }
  return nullptr;
}

// The lines of the log that the frames are taken from: those from the noted one on in which the stack's pattern
// matches.
void FindLines(StackStory& stack, const Story& story, const RunStory& run, const std::string& name,
               const std::string& pattern) {
  const auto record = std::find_if(run.records.begin(), run.records.end(),
                                   [&name](const RecordStory& candidate) { return candidate.name == name; });
  if (record == run.records.end() || pattern.empty()) return;
  const std::string& log = story.logs[run.log].text;
  Regex expression(pattern);
  LogLine line = record->line;
  for (FrameStory& frame : stack.frames) {
    while (frame.line.number == 0 && line.offset < log.size() && line.number < record->line.number + kMaxLines) {
      line.length = std::min(log.find('\n', line.offset), log.size()) - line.offset;
      Regex::Match match;
      const std::string text = log.substr(line.offset, line.length);
      if (text.size() <= kMaxLineLen && expression.search(text, match) && match.whole == frame.text) frame.line = line;
      line = {line.number + 1, line.offset + line.length + 1, 0};
    }
  }
}

}  // namespace

std::optional<StackStory> TellStack(const Story& story, const RunTeller& runs) {
  const auto trace = runs.merged().find(kStackKey);
  const RunStory* run = nullptr;
  const TemplateStory* origin = FindTemplate(story, run);
  if (trace == runs.merged().end() || origin == nullptr) return std::nullopt;
  StackStory stack;
  stack.featureId = run->featureId;
  stack.frames = FramesOf(trace->second);
  const std::list<Block> blocks = CutIntoBlocks(stack);
  CutToLimit(stack);
  Block names;
  stack.filtered = StackUtil::GetFilterTrace(trace->second, names, "");
  FindNamingBlock(stack, blocks, names);
  if (origin->contributions.size() == 1) {
    const std::string& record = origin->contributions.front().record;
    FindLines(stack, story, *run, record, runs.stackPatternOf(run->featureId, record));
  }
  for (const char* key : kFrameKeys) {
    if (story.result.contains(key)) stack.named[key] = runs.merged().contains(key) ? "template" : "stack";
  }
  return stack;
}

std::string StackFault(const StackStory& stack) {
  std::vector<std::string> kept;
  for (size_t block = 0; block < stack.blocks.size(); ++block) {
    for (const FrameStory& frame : stack.frames) {
      if (frame.block == block && IsNamed(frame)) kept.push_back(frame.name);
    }
  }
  std::string text = StringUtil::VectorToString(kept, false, kLineEnd);
  if (!text.empty()) text.resize(text.size() - 2);
  if (text != stack.filtered) return "what is told of the stack's lines differs from the library's filtered stack";
  const bool isNamed =
      std::any_of(stack.blocks.begin(), stack.blocks.end(), [](const BlockStory& b) { return b.namesTheStack; });
  return isNamed || stack.blocks.empty() ? "" : "no block of the stack has the names that the library gives it";
}
