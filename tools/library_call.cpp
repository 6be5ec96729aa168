#include "tools/library_call.h"

#include <json/json.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <utility>

#include "entry/observed_kestrix.h"
#include "tools/commands.h"
#include "tools/input.h"
#include "tools/rule_types.h"

namespace {

std::function<std::string()> abortPlace;

// Ends at once: what the library held when it was left cannot be cleaned up.
[[noreturn]] void EndWith(const std::string& where, const std::string& reason) {
  for (const char* part : {"kestrix: ", where.c_str(), ": ", reason.c_str(), "\n"}) {
    if (write(STDERR_FILENO, part, strlen(part)) < 0) break;
  }
  _exit(kBadInput);
}

// The standard library aborts, instead of throwing, in code that is built without exceptions: on this thread, and
// between the calls of an observer, so what the place is made from is whole.
void OnAbort(int /*signal*/) {
  EndWith(abortPlace(), "the analysis was aborted, most likely by an invalid regular expression");
}

// The JSON library raises an error for a value that cannot be what it is asked to be.
[[noreturn]] void EndWithWrongType(const std::string& configDir, const char* reason) {
  std::string file = MatchRuleFile(configDir);
  std::string place = WrongTypeInMatchRules(file);
  if (place.empty()) {
    file = AssembleRuleFile(configDir);
    place = WrongTypeInAssembleRules(file);
  }
  EndWith(file, place + ": a value has the wrong type: " + reason);
}

}  // namespace

AbortBlame::AbortBlame(std::function<std::string()> where) {
  abortPlace = std::move(where);
  std::signal(SIGABRT, OnAbort);
}

AbortBlame::~AbortBlame() { std::signal(SIGABRT, SIG_DFL); }

std::map<std::string, std::string> AnalyzeOrEnd(const std::string& log, const std::string& configDir,
                                                const std::string& eventType, RunObserver* observer) {
  try {
    return ObservedKestrix::analysis(log, configDir, eventType, observer);
  } catch (const Json::Exception& error) {
    EndWithWrongType(configDir, error.what());
  } catch (const std::exception& error) {
    EndWith(MatchRuleFile(configDir), error.what());
  }
}
