#ifndef STACK_STACK_OBSERVER_H
#define STACK_STACK_OBSERVER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What becomes of a line before the limit of lines is kept.
enum class FrameFate {
  kKept,
  kIgnored,         // for the name of a library or function in it
  kIgnoredButKept,  // ditto, but its whole block is noise
  kBeforePanic,     // all of its block is noise, and this precedes the first panic, dumper or scheduler frame: the cut
  kHeading,         // opens a block: replaced by the plain name of its exception
  kNoFrames,        // opens a cause without frames, and is dropped
};

// Receives what the stack filter decides about the lines of a trace, which are numbered from 0. Without an observer the
// filter does the same.
class StackObserver {
 public:
  virtual ~StackObserver() = default;

  // The next line of the trace. Empty lines are none.
  virtual void onLine(std::string_view line) = 0;

  // The line belongs to the block that comes next in the filtered stack, where `name` stands for it. The last call for
  // a line counts: a frame that is ignored may turn out to be in a block of noise.
  virtual void onFrame(size_t line, const std::string& name, FrameFate fate) = 0;

  // All lines of a block are reported, so many frames of which stand in it.
  virtual void onBlock(size_t frames) = 0;

  // The lines that the limit leaves in the filtered stack, in its order.
  virtual void onFiltered(const std::vector<size_t>& lines) = 0;

  // The block, counted from 0, whose frames name the stack.
  virtual void onNamingBlock(size_t block) = 0;
};

// StackUtil::GetFilterTrace with an observer.
std::string ObserveFilterTrace(const std::string& trace, std::vector<std::string>& lines, StackObserver& observer);

#endif  // STACK_STACK_OBSERVER_H
