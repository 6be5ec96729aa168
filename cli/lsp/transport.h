#ifndef CLI_LSP_TRANSPORT_H
#define CLI_LSP_TRANSPORT_H

#include <json/json.h>

#include <string>
#include <string_view>

// The protocol's framing: "Content-Length: N", an empty line, and N bytes of JSON.

// Takes messages from the bytes as they arrive.
class MessageReader {
 public:
  void append(std::string_view bytes) { received_ += bytes; }

  // kDamaged: what cannot be a message was dropped; `message` says why.
  enum class Next { kNone, kMessage, kDamaged };
  Next next(std::string& message);

 private:
  std::string received_;
  size_t dropped_ = 0;  // bytes still to come of a message that is too large
};

// `body` with its header.
std::string Framed(const Json::Value& body);

// False when `text` is not JSON.
bool ReadJson(const std::string& text, Json::Value& value);

#endif  // CLI_LSP_TRANSPORT_H
