#ifndef CLI_FLEET_FIELDS_H
#define CLI_FLEET_FIELDS_H

#include <string>
#include <string_view>
#include <vector>

// What goes from process to process, or to a file and back: texts that hold any bytes.
using Fields = std::vector<std::string>;
using FieldViews = std::vector<std::string_view>;

// The size of what follows, then each field with its size in front; for ends of the same program only.
std::string Encoded(const Fields& fields);

// Puts that behind `text`.
void AppendEncoded(const FieldViews& fields, std::string& text);

// The size of the message that `received` begins with; 0 when it is not whole yet.
size_t MessageSize(std::string_view received);

// REQUIRES: `message` is whole.
void Decode(std::string_view message, Fields& fields);

// The same without copies: the fields are parts of the message.
void DecodeViews(std::string_view message, FieldViews& fields);

#endif  // CLI_FLEET_FIELDS_H
