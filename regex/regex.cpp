#include "regex/regex.h"

#include "util/limits.h"

namespace {

constexpr size_t kStandardBytesPerByte = 256;  // of memory for a byte of expression, about

std::string_view ViewOf(const std::csub_match& part) {
  return part.matched ? std::string_view(part.first, static_cast<size_t>(part.length())) : std::string_view();
}

}  // namespace

Regex::Regex(std::string_view text, const RegexReading& reading) : text_(text) {
  if (!reading.isSearchable()) return;
  machine_ = std::make_unique<RegexMachine>(*reading.tree);
  groupCount_ = reading.tree->groupCount;
}

bool Regex::search(std::string_view subject, Match& match) {
  const char* const begin = subject.data();
  if (machine_ == nullptr) {
    std::cmatch found;
    const std::regex& expression = standard();
    if (isTooLong(subject) || !std::regex_search(begin, begin + subject.size(), found, expression)) {
      return false;
    }
    match.whole = ViewOf(found[0]);
    match.group = ViewOf(found[1]);
    return true;
  }
  RegexSpan span;
  if (isTooLong(subject) || !machine_->search(subject, span)) return false;
  match.whole = subject.substr(span.begin, span.end - span.begin);
  const bool hasGroup = span.groupEnd != RegexSpan::kUnset;
  match.group = hasGroup ? subject.substr(span.groupBegin, span.groupEnd - span.groupBegin) : std::string_view();
  return true;
}

bool Regex::matchesWhole(std::string_view subject) {
  const char* const begin = subject.data();
  if (machine_ != nullptr) return !isTooLong(subject) && machine_->matchesWhole(subject);
  const std::regex& expression = standard();
  return !isTooLong(subject) && std::regex_match(begin, begin + subject.size(), expression);
}

size_t Regex::groupCount() { return machine_ != nullptr ? groupCount_ : standard().mark_count(); }

size_t Regex::memory() const {
  size_t bytes = text_.size();
  if (machine_ != nullptr) bytes += machine_->memory();
  if (standard_) bytes += text_.size() * kStandardBytesPerByte;
  return bytes;
}

bool Regex::isTooLong(std::string_view subject) const {
  return subject.size() > kMaxLineLen && (machine_ == nullptr || !machine_->isLinear());
}

const std::regex& Regex::standard() {
  if (!standard_) standard_.emplace(text_);
  return *standard_;
}
