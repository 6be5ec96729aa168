#ifndef CLI_LIBRARY_OWN_PROGRAM_H
#define CLI_LIBRARY_OWN_PROGRAM_H

#include <functional>
#include <string>
#include <vector>

// What a command of this program gave.
struct ProgramRun {
  int status = -1;       // -1: it was ended, by a signal or for its time
  bool isStale = false;  // it was ended because nobody wants its output any more
  std::string output;    // on standard output
  std::string errors;    // on standard error
};

// Runs this program once more with `arguments`: what the library does over odd rules then ends that process and no
// other. It is ended when it takes longer than a few seconds, and when `isStale()`, which is asked now and then, says
// that nobody wants its output any more. May be called on several threads.
ProgramRun RunOwnProgram(const std::vector<std::string>& arguments, const std::string& input,
                         const std::function<bool()>& isStale);

// The first line of what it said on standard error, without the program's name.
std::string FaultOf(const ProgramRun& run);

// Starts a program by its name and does not wait for it. False when there is no such program.
bool StartProgram(const std::vector<std::string>& words);

#endif  // CLI_LIBRARY_OWN_PROGRAM_H
