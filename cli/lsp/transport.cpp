#include "cli/lsp/transport.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <optional>

#include "cli/output/json_text.h"

namespace {

constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kLength = "content-length:";
constexpr size_t kMaxHeader = 8 * 1024;
constexpr size_t kMaxMessage = 64 * 1024 * 1024;
constexpr size_t kMaxDigits = 15;

// The value of the header's Content-Length.
std::optional<size_t> LengthIn(std::string_view header) {
  while (!header.empty()) {
    const size_t end = std::min(header.find("\r\n"), header.size());
    std::string line(header.substr(0, end));
    std::transform(line.begin(), line.end(), line.begin(), [](unsigned char c) { return std::tolower(c); });
    header.remove_prefix(std::min(end + 2, header.size()));
    if (!line.starts_with(kLength)) continue;
    const size_t begin = line.find_first_not_of(" \t", kLength.size());
    if (begin == std::string::npos) return std::nullopt;
    const std::string digits = line.substr(begin, line.find_last_not_of(" \t") + 1 - begin);
    if (digits.size() > kMaxDigits || digits.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
    return std::stoull(digits);
  }
  return std::nullopt;
}

}  // namespace

MessageReader::Next MessageReader::next(std::string& message) {
  const size_t dropped = std::min(dropped_, received_.size());
  received_.erase(0, dropped);
  dropped_ -= dropped;
  const size_t headerEnd = received_.find(kHeaderEnd);
  if (headerEnd == std::string::npos) {
    if (received_.size() <= kMaxHeader) return Next::kNone;
    received_.clear();
    message = "a header does not end";
    return Next::kDamaged;
  }
  const std::optional<size_t> length = LengthIn(std::string_view(received_).substr(0, headerEnd));
  const size_t begin = headerEnd + kHeaderEnd.size();
  if (!length || *length > kMaxMessage) {
    received_.erase(0, begin);
    if (length) dropped_ = *length;
    message = length ? "the message is too large" : "a header has no Content-Length that can be read";
    return Next::kDamaged;
  }
  if (received_.size() - begin < *length) return Next::kNone;
  message = received_.substr(begin, *length);
  received_.erase(0, begin + *length);
  return Next::kMessage;
}

std::string Framed(const Json::Value& body) {
  const std::string text = JsonLine(body);
  return "Content-Length: " + std::to_string(text.size()) + std::string(kHeaderEnd) + text;
}

bool ReadJson(const std::string& text, Json::Value& value) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  builder["failIfExtra"] = true;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  try {
    return reader->parse(text.data(), text.data() + text.size(), &value, &errors);
  } catch (const Json::Exception&) {  // nested too deeply
    return false;
  }
}
