#ifndef CLI_SUGGEST_SUGGEST_H
#define CLI_SUGGEST_SUGGEST_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "cli/suggest/selection.h"

// Rules from lines of a log, each tried by the engine.

// What a draft takes of a log.
struct Taking {
  std::string log;
  std::string fault;              // why nothing is known; mostly empty
  std::vector<size_t> ruleLines;  // numbers from 1
  std::vector<size_t> stackLines;
  std::map<std::string, std::string> result;

  size_t lineCount() const { return ruleLines.size() + stackLines.size(); }
};

struct Suggestion {
  Draft draft;
  Taking taking;                // of the log itself
  std::vector<size_t> missed;   // lines that were pointed at
  std::vector<size_t> strange;  // lines that were not
  std::vector<Taking> against;  // of other logs
};

struct SuggestRequest {
  std::string log;
  LineRange range;
  std::string eventType;
  std::vector<std::string> against;
  std::string configDir;  // existing rules, whose names are not used again; may be empty
};

// The best first; those without a result are not among them. Throws InputError.
std::vector<Suggestion> Suggest(const SuggestRequest& request);

// Of a log that may be compressed. Throws InputError.
std::string TextOfLog(const std::string& path);

// A folder for rule files that is gone with the object.
class DraftFolder {
 public:
  explicit DraftFolder(const std::vector<Draft>& drafts);
  ~DraftFolder();
  DraftFolder(const DraftFolder&) = delete;
  DraftFolder& operator=(const DraftFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// What the rules in each of the folders take of each log, folder by folder. The engine runs in workers.
struct Trial {
  std::string log;
  std::string folder;
  std::string eventType;
};
std::vector<Taking> TryAll(const std::vector<Trial>& trials);

#endif  // CLI_SUGGEST_SUGGEST_H
