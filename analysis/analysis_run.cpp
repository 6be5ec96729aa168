#include <algorithm>
#include <memory>
#include <utility>

#include "analysis/analysis.h"
#include "rules/rule_syntax.h"
#include "util/log.h"

namespace {

constexpr int32_t kStatusUnreadable = 1;
constexpr int32_t kStatusNothingFound = 2;
constexpr size_t kWindowOfOneLine = 1024;  // bytes read for a line here and there

}  // namespace

Analysis::Analysis(int32_t pid, std::string type, FeatureFrame* frame, std::map<std::string, std::string> templates)
    : pid_(pid), type_(std::move(type)), frame_(frame), templates_(std::move(templates)) {}

Analysis::~Analysis() { KESTRIX_LOG(ANDROID_LOG_DEBUG, "<%d> Analysis::~Analysis.", pid_); }

bool Analysis::analysisLog() {
  KESTRIX_LOG(ANDROID_LOG_INFO, "<%d> analysis begin: path(%s), type(%s).", pid_, frame_->logPath.c_str(),
              type_.c_str());
  match();
  if (records_.empty()) {
    status_ = kStatusNothingFound;
    return false;
  }
  assemble();
  return true;
}

void Analysis::match() {
  const std::unique_ptr<ByteSource> own = log_ == nullptr ? OpenLog(frame_->logPath) : nullptr;
  ByteSource* const log = log_ == nullptr ? own.get() : log_;
  if (log != nullptr && scanWhole(*log)) return;
  status_ = kStatusUnreadable;
  if (observer_ != nullptr) observer_->onUnreadableLog();
  KESTRIX_LOG(ANDROID_LOG_WARN, "<%d> readfile to buffer failed.", pid_);
}

// False when the log is found cut: then nothing counts as found.
bool Analysis::scanWhole(ByteSource& log) {
  LineReader reader(log, shared_ == nullptr ? window_ : std::min(window_, kWindowOfOneLine));
  const bool keepsNeeded = keepsNeeded_ && observer_ == nullptr;
  const auto hasVariables = [this](const FeatureRule& rule) { return hasVariable(rule); };
  // A log of one window is read before any of it is examined, and only variables can miss a record.
  const bool anyVariable = keepsNeeded && std::any_of(frame_->rules.begin(), frame_->rules.end(), hasVariables);
  const bool mayStartOver = log.size() > window_ || anyVariable;
  const auto rules = mayStartOver ? frame_->rules : std::list<FeatureRule>();
  const auto records = records_;
  const auto stackPatterns = stackPatterns_;
  if (keepsNeeded) {
    records_.keepAtMost([this, anyVariable, taken = recordsTaken()](const std::string& name) {
      const auto known = taken.find(name);
      return std::max(known == taken.end() ? 0 : known->second, anyVariable ? recordsFilled(name) : 0);
    });
  }
  mayPutOff_ = keepsNeeded && !anyVariable;
  rawInfoPosition(reader, 0);
  lastValues_.reset();
  std::string().swap(curLine_);  // it may be as long as the log
  const bool isWhole = reader.isWhole() && (shared_ == nullptr || shared_->isWhole());
  if (isWhole && !records_.hasMissed()) return true;
  if (mayStartOver) frame_->rules = rules;
  records_ = records;
  stackPatterns_ = stackPatterns;
  keepsNeeded_ = false;
  return isWhole && scanWhole(log);
}

void Analysis::rawInfoPosition(std::stringstream& content) {
  const std::streamoff begin = content.tellg();
  const std::unique_ptr<ByteSource> log = SourceOf(content);
  LineReader reader(*log, window_);
  const size_t end = rawInfoPosition(reader, begin < 0 ? log->size() : static_cast<size_t>(begin));
  // The stream and the current line are left as if the lines had been read one by one.
  if (begin >= 0) content.seekg(static_cast<std::streamoff>(end));
  std::string line;
  if (std::getline(content, line)) getCursorInfo(content, line);
}

// Returns the beginning of the last line that was asked for.
size_t Analysis::rawInfoPosition(LineReader& reader, size_t begin) {
  const int32_t skipStep = SkipLimit(frame_->skip);
  KESTRIX_LOG(ANDROID_LOG_INFO, "<%d> skipStep(%d) rules_size(%zu).", pid_, skipStep,
              frame_->rules.size() + rulesLeftOut_);
  return scanFrom(reader, begin, skipStep);
}

bool Analysis::checkSegmentStart(bool& started) const {
  started = started || std::any_of(kSegmentBegins.begin(), kSegmentBegins.end(),
                                   [this](std::string_view mark) { return records_.knowsNameWith(mark); });
  return started;
}
