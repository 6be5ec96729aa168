#include "cli/explain/stack_story.h"

#include <algorithm>
#include <utility>

#include "cli/output/lines.h"
#include "stack/frame_name.h"
#include "stack/stack_observer.h"
#include "stack/stack_tables.h"
#include "stack/stack_util.h"
#include "util/trace_cut.h"

namespace {

FrameForm FormOf(const std::string& line) {
  if (StackUtil::HasCausedBy(line)) return FrameForm::kCause;
  static constexpr FrameForm kForms[] = {FrameForm::kJava, FrameForm::kNative, FrameForm::kKernel, FrameForm::kHyphen,
                                         FrameForm::kOther};
  return kForms[static_cast<size_t>(ShapeOf(line))];
}

// Writes what the stack filter decides into a story.
class StackReporter : public StackObserver {
 public:
  explicit StackReporter(StackStory& stack) : stack_(stack) {}

  void onLine(std::string_view line) override {
    FrameStory frame;
    frame.text = line;
    std::string read = frame.text;
    std::erase(read, '\t');
    frame.form = FormOf(read);
    stack_.frames.push_back(std::move(frame));
  }

  void onFrame(size_t line, const std::string& name, FrameFate fate) override {
    FrameStory& frame = stack_.frames[line];
    frame.name = name;
    frame.fate = fate;
    frame.block = stack_.blocks.size();
    if (fate == FrameFate::kHeading) heading_ = name;
    if (frame.form == FrameForm::kCause) return;
    const IgnoredName ignored = FindIgnoredName(name);
    frame.ignoredName = ignored.name;
    frame.ignoredLevel = ignored.level;
  }

  void onBlock(size_t frames) override { stack_.blocks.push_back({std::exchange(heading_, ""), frames, false}); }

  void onFiltered(const std::vector<size_t>& lines) override {
    for (FrameStory& frame : stack_.frames) frame.isCut = frame.isNamed();
    for (const size_t line : lines) stack_.frames[line].isCut = false;
  }

  void onNamingBlock(size_t block) override { stack_.blocks[block].namesTheStack = true; }

 private:
  StackStory& stack_;
  std::string heading_;  // of the block whose frames come
};

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

// Finds the lines of the log that the frames are taken from, from the noted one on, as the library cuts them.
void FindLines(StackStory& stack, const Story& story, const RunStory& run, const std::string& name,
               const std::string& pattern) {
  const auto record = std::find_if(run.records.begin(), run.records.end(),
                                   [&name](const RecordStory& candidate) { return candidate.name == name; });
  if (record == run.records.end() || pattern.empty()) return;
  ExpressionCache expressions;
  TraceCut cut(expressions, pattern, "");
  const std::string& log = story.logs[run.log].text;
  auto frame = stack.frames.begin();
  for (LogLine line = record->line; line.offset < log.size(); line = {line.number + 1, line.offset + line.length + 1}) {
    line.length = std::min(log.find('\n', line.offset), log.size()) - line.offset;
    std::string taken;
    if (frame == stack.frames.end() || !cut.take(log.substr(line.offset, line.length), taken)) return;
    if (taken == frame->text + "\n") (frame++)->line = line;
  }
}

}  // namespace

std::optional<StackStory> MakeStackStory(const Story& story, const RunReporter& runs) {
  const auto trace = runs.merged().find(kStackKey);
  const RunStory* run = nullptr;
  const TemplateStory* origin = FindTemplate(story, run);
  if (trace == runs.merged().end() || origin == nullptr) return std::nullopt;
  StackStory stack;
  stack.featureId = run->featureId;
  stack.lineCount = LinesOf(trace->second).size();
  StackReporter reporter(stack);
  std::vector<std::string> names;
  stack.filtered = ObserveFilterTrace(trace->second, names, reporter);
  if (origin->contributions.size() == 1) {
    const std::string& record = origin->contributions.front().record;
    FindLines(stack, story, *run, record, runs.stackPatternOf(run->featureId, record));
  }
  for (const char* key : kFrameKeys) {
    if (story.result.contains(key)) stack.named[key] = runs.merged().contains(key) ? "template" : "stack";
  }
  return stack;
}
