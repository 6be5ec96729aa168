#include "cli/fleet/fields.h"

#include <cstdint>
#include <cstring>

namespace {

using Size = uint64_t;

void AppendSize(size_t size, std::string& text) {
  const Size value = size;
  text.append(reinterpret_cast<const char*>(&value), sizeof value);
}

Size SizeAt(std::string_view text) {
  Size value = 0;
  std::memcpy(&value, text.data(), sizeof value);
  return value;
}

}  // namespace

std::string Encoded(const Fields& fields) {
  size_t size = 0;
  for (const std::string& field : fields) size += sizeof(Size) + field.size();
  std::string message;
  message.reserve(sizeof(Size) + size);
  AppendSize(size, message);
  for (const std::string& field : fields) {
    AppendSize(field.size(), message);
    message += field;
  }
  return message;
}

size_t MessageSize(std::string_view received) {
  if (received.size() < sizeof(Size)) return 0;
  const size_t size = sizeof(Size) + SizeAt(received);
  return received.size() < size ? 0 : size;
}

void Decode(std::string_view message, Fields& fields) {
  fields.clear();
  for (message.remove_prefix(sizeof(Size)); !message.empty();) {
    const Size size = SizeAt(message);
    fields.emplace_back(message.substr(sizeof(Size), size));
    message.remove_prefix(sizeof(Size) + size);
  }
}
