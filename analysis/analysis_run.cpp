#include <algorithm>
#include <utility>

#include "analysis/analysis.h"
#include "rules/rule_syntax.h"
#include "util/file_util.h"
#include "util/log.h"

namespace {

constexpr int32_t kStatusUnreadable = 1;
constexpr int32_t kStatusNothingFound = 2;

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
  std::stringstream content;
  if (!FileUtil::ReadFileBuff(frame_->logPath, content) || !content.good()) {
    status_ = kStatusUnreadable;
    if (observer_ != nullptr) observer_->onUnreadableLog();
    KESTRIX_LOG(ANDROID_LOG_WARN, "<%d> readfile to buffer failed.", pid_);
    return;
  }
  rawInfoPosition(content);
}

void Analysis::rawInfoPosition(std::stringstream& content) {
  const int32_t skipStep = frame_->skip >= 1 ? frame_->skip : kDefaultSkip;
  KESTRIX_LOG(ANDROID_LOG_INFO, "<%d> skipStep(%d) rules_size(%zu).", pid_, skipStep, frame_->rules.size());
  scanContent(content, skipStep);
}

bool Analysis::checkSegmentStart(bool& started) const {
  started = started || std::any_of(kSegmentBegins.begin(), kSegmentBegins.end(),
                                   [this](std::string_view mark) { return records_.knowsNameWith(mark); });
  return started;
}
