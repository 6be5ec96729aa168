#include "cli/output/page_shell.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <map>
#include <ostream>
#include <string>

#include "cli/output/json_text.h"
#include "rules/rule_syntax.h"
#include "stack/stack_tables.h"

// Embedded when the program is built.
extern const std::string_view kPageShell;
extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;

namespace {

// The SHA-256 of `text` in Base64, as a content security policy has it.
std::string PolicyHash(std::string_view text) {
  std::array<unsigned char, SHA256_DIGEST_LENGTH> digest;
  SHA256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
  std::array<unsigned char, (SHA256_DIGEST_LENGTH + 2) / 3 * 4 + 1> encoded;  // with an ending zero
  EVP_EncodeBlock(encoded.data(), digest.data(), SHA256_DIGEST_LENGTH);
  return reinterpret_cast<const char*>(encoded.data());
}

// HTML ends a script at the first "</script" and begins a comment in it with "<!--", so there is no "<" in it.
void PrintForScript(std::string_view json, std::ostream& out) {
  while (!json.empty()) {
    const size_t size = std::min(json.find('<'), json.size());
    out << json.substr(0, size) << (size < json.size() ? "\\u003c" : "");
    json.remove_prefix(std::min(size + 1, json.size()));
  }
}

// What the scripts know by its name: results that they treat on their own, and the files of a directory of rules.
Json::Value LibraryNames() {
  Json::Value names;
  names["fingerprint"] = kFingerprintKey;
  names["firstFrame"] = kFrameKeys.front();
  names["reason"] = kReasonKey;
  names["stack"] = kStackKey;
  names["matchFile"] = kMatchFileName;
  names["assembleFile"] = kAssembleFileName;
  return names;
}

}  // namespace

void PrintPage(const Page& page, const Json::Value& data, std::ostream& out) {
  PrintPage(
      page, [&data](const auto& write) { write(JsonLine(data)); }, out);
}

void PrintPage(const Page& page, const DataSource& data, std::ostream& out) {
  std::string script(kPageScript);
  for (const std::string_view part : page.scripts) script += part;
  const std::map<std::string_view, std::string> parts = {
      {"STYLE_HASH", PolicyHash(kPageStyle)},
      {"SCRIPT_HASH", PolicyHash(script)},
      {"TITLE", std::string(page.title)},
      {"STYLE", std::string(kPageStyle)},
      {"BODY", std::string(page.body)},
      {"SCRIPT", script},
      {"CONNECT", page.mayFetch ? "; connect-src 'self'" : ""},
  };
  // The shell has its marks as "@NAME@", and no other "@".
  bool isName = false;
  for (std::string_view rest = kPageShell; !rest.empty(); isName = !isName) {
    const std::string_view piece = rest.substr(0, rest.find('@'));
    if (isName && piece == "DATA") {
      data([&out](std::string_view json) { PrintForScript(json, out); });
    } else if (isName && piece == "NAMES") {
      PrintForScript(JsonLine(LibraryNames()), out);
    } else if (isName) {
      out << parts.at(piece);
    } else {
      out << piece;
    }
    rest.remove_prefix(std::min(piece.size() + 1, rest.size()));
  }
}
