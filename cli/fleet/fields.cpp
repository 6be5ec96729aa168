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
  std::string message;
  AppendEncoded(FieldViews(fields.begin(), fields.end()), message);
  return message;
}

void AppendEncoded(const FieldViews& fields, std::string& text) {
  size_t size = 0;
  for (const std::string_view field : fields) size += sizeof(Size) + field.size();
  if (text.empty()) text.reserve(sizeof(Size) + size);
  AppendSize(size, text);
  for (const std::string_view field : fields) {
    AppendSize(field.size(), text);
    text += field;
  }
}

size_t MessageSize(std::string_view received) {
  if (received.size() < sizeof(Size)) return 0;
  const size_t size = sizeof(Size) + SizeAt(received);
  return received.size() < size ? 0 : size;
}

void Decode(std::string_view message, Fields& fields) {
  FieldViews views;
  DecodeViews(message, views);
  fields.assign(views.begin(), views.end());
}

void DecodeViews(std::string_view message, FieldViews& fields) {
  fields.clear();
  for (message.remove_prefix(sizeof(Size)); !message.empty();) {
    const Size size = SizeAt(message);
    fields.push_back(message.substr(sizeof(Size), size));
    message.remove_prefix(sizeof(Size) + size);
  }
}
