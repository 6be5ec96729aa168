#ifndef STACK_STACK_UTIL_H
#define STACK_STACK_UTIL_H

#include <cstddef>
#include <list>
#include <map>
#include <stack>
#include <string>
#include <vector>

#include "util/export.h"

// Recognises the lines of a call stack (Java, native, kernel), cuts a stack to a bounded, comparable form and
// fingerprints it. A trace is a vector of lines in file order without line ends. A frame stack holds the lines of a
// trace pushed in file order, so its top is the last line. All functions depend on their arguments and on constant
// tables only and may be called from any thread.
class KESTRIX_EXPORT StackUtil {
 public:
  // --- Recognition of single lines ---

  // Whether the line may stand in a call stack: true for every line.
  static bool IsCallStack(std::string& line);

  // True when the line opens a chained exception: it holds "Caused by:" or "Suppressed:".
  static bool HasCausedBy(const std::string& line);

  // True for the exact name of a known standard exception, and for "UnMatchedException".
  static bool HasExceptionList(const std::string& name);

  // The first known exception name, in byte order of the names, that occurs in the line; "UnMatchedException" when none
  // does. "StringIndexOutOfBoundsException" therefore gives "IndexOutOfBoundsException".
  static std::string MatchExceptionLibrary(const std::string& line);

  // True when the frame holds the name of an ignored library or kernel function anywhere.
  static bool IsIgnoreLibrary(const std::string& frame);

  // The trace's first line followed by its last `count` - 1 lines, as a frame stack. Never fewer than the first line of
  // a trace that has one.
  static std::stack<std::string> GetStackTop(const std::vector<std::string>& trace, unsigned long count);

  // The significant part of a frame line: of a Java frame what follows "at ", of a native frame what follows the
  // program counter, of a kernel frame "symbol+offset/size"; of any other line the whole line. Install-directory
  // suffixes that differ from device to device ("-...==") are taken out.
  static std::string GetStackName(std::string frame);

  // Searches the line for a regular expression and sets `part` to its first group. False, with `part` untouched, when
  // nothing matches or the expression has no group.
  static bool GetPartial(const std::string& line, const std::string& pattern, std::string& part);

  // --- Filtering of a whole trace ---

  // Replaces the trace under "STACK" with its filtered text, stores its fingerprint under "FINGERPRINT" and names its
  // top frames where the keys are absent. Without a "STACK" value the map stays as it is. `ignored` has no effect.
  static void FilterTrace(std::map<std::string, std::string>& result, std::string ignored);

  // The filtered text of a trace whose lines end in "\n". `lines` gets the frame names of the block that names the
  // stack, last frame first. `ignored` has no effect.
  static std::string GetFilterTrace(const std::string& trace, std::vector<std::string>& lines, std::string ignored);

  // The same for a frame stack: at most 30 lines, "\r\n" between them.
  static std::string GetValidBlock(std::stack<std::string> frames, std::vector<std::string>& lines);

  // Cuts a trace at the lines that open chained exceptions, and empties `frames`. One block per exception, last cause
  // first: the exception's name (the head of the trace has none), then its valid frames in file order. `count` as in
  // MatchIgnoreLibrary.
  static std::list<std::vector<std::string>> StackToMultipart(std::stack<std::string>& frames, unsigned long count);

  // The frame names of one part, from its top down, without the ignored ones; when all are ignored, the names from
  // where MatchIgnoreLibrary lets the part begin. The top of a part is the line nearest the exception.
  static std::vector<std::string> GetValidStack(unsigned long count, std::stack<std::string>& part);

  // The same for a trace without chained exceptions: `part` becomes the top `count` lines of the frame stack `head`, as
  // GetStackTop chooses them, and is then reduced. A negative `count` counts as 0.
  static std::vector<std::string> GetValidStack(int count, std::stack<std::string> head, std::stack<std::string>& part);

  // Chooses where a part whose frames are all ignored begins: at its first kernel panic frame, else at its first frame
  // out of a stack dumper, the scheduler or the runtime, as long as more than `count` lines follow from there;
  // otherwise `output` is the whole part.
  static void MatchIgnoreLibrary(std::stack<std::string> input, std::stack<std::string>& output, unsigned long count);

  // Empties `top` into "FST_FRAME", "SEC_FRAME" and "LAST_FRAME", top first. A key that is present keeps its value;
  // lines past the third are dropped.
  static void SetFrame(std::stack<std::string>& top, std::map<std::string, std::string>& result);

  // --- Fingerprint ---

  // The SHA-256, 64 lower-case hexadecimal characters, of `input` itself (mode 1) or of the file that it names (mode
  // 0). "0" on failure, which is logged. `length` is not used.
  static std::string CalcFingerPrint(const std::string& input, size_t length, int mode);

  // Waits until the file `path` exists, looking once a second for `seconds` seconds. False on a time-out, and at once
  // for 0 seconds.
  static bool WaitForDoneFile(const std::string& path, unsigned int seconds);
};

#endif  // STACK_STACK_UTIL_H
