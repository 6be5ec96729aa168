#ifndef CLI_LSP_LOG_SURVEY_H
#define CLI_LSP_LOG_SURVEY_H

#include <sys/types.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// What the rules of a project take from the author's logs. A process of its own runs the engine in workers, so the
// server goes on answering, and neither an odd rule nor an edit in the meantime can harm it.

// Logs to try, and the one whose values are shown.
struct SurveyLogs {
  std::vector<std::string> paths;
  std::string pinned;

  bool operator==(const SurveyLogs&) const = default;
};

struct Survey {
  size_t logs = 0;  // that were tried
  size_t total = 0;
  std::map<std::pair<std::string, std::string>, std::set<std::string>> firedIn;  // feature id, rule -> logs
  std::map<std::pair<std::string, std::string>, std::string> values;  // feature id, record, of the pinned log
  bool isDone = false;
};

class LogSurvey {
 public:
  LogSurvey() = default;
  ~LogSurvey() { stop(); }
  LogSurvey(const LogSurvey&) = delete;
  LogSurvey& operator=(const LogSurvey&) = delete;

  // Begins anew with these texts of the rule files.
  void start(const std::string& matchText, const std::string& assembleText, const std::set<std::string>& eventTypes,
             const SurveyLogs& logs);
  void stop();

  bool isRunning() const { return pid_ != -1; }
  int descriptor() const { return pipe_; }

  // Takes what has arrived. False when the survey has ended.
  bool receive();

  // Of the last survey that was completed; while the first one runs, of that.
  const Survey& result() const { return shown_.isDone ? shown_ : coming_; }
  const Survey& coming() const { return coming_; }

 private:
  void take(const std::string& line);

  pid_t pid_ = -1;
  int pipe_ = -1;
  std::string received_;
  Survey coming_;
  Survey shown_;
};

#endif  // CLI_LSP_LOG_SURVEY_H
