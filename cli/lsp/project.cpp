#include "cli/lsp/project.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "cli/library/input.h"
#include "rules/rule_syntax.h"
#include "util/limits.h"

namespace {

constexpr std::string_view kScheme = "file://";

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const int lower = std::tolower(static_cast<unsigned char>(c));
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Nothing for what is no file, or too large for one of rules.
std::string TextOnDisk(const std::string& path) {
  try {
    if (CheckReadableFile(path) > static_cast<off_t>(kMaxFileSize)) return "";
  } catch (const InputError&) {
    return "";
  }
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace

std::string PathOf(const std::string& uri) {
  if (!uri.starts_with(kScheme)) return "";
  const size_t begin = uri.find('/', kScheme.size());
  if (begin == std::string::npos) return "";
  std::string path;
  for (size_t i = begin; i < uri.size(); ++i) {
    const int high = uri[i] == '%' && i + 2 < uri.size() ? HexValue(uri[i + 1]) : -1;
    const int low = high >= 0 ? HexValue(uri[i + 2]) : -1;
    if (low < 0) {
      path += uri[i];
      continue;
    }
    path += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return path.find('\0') == std::string::npos ? path : "";
}

std::string UriOf(std::string_view path) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string uri(kScheme);
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || std::string_view("/-._~").find(c) != std::string_view::npos) {
      uri += c;
    } else {
      uri.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    }
  }
  return uri;
}

RuleSnapshot::RuleSnapshot(std::string folder, std::string matchText, std::string assembleText)
    : matchFile(MatchRuleFile(folder), std::move(matchText)),
      assembleFile(AssembleRuleFile(folder), std::move(assembleText)),
      model(matchFile, assembleFile) {}

std::string Project::path(FileKind kind) const {
  return kind == FileKind::kMatch ? MatchRuleFile(folder_) : AssembleRuleFile(folder_);
}

std::string Project::uri(FileKind kind) const {
  const auto open = open_.find(kind);
  return open != open_.end() ? open->second.uri : UriOf(path(kind));
}

void Project::open(FileKind kind, std::string uri, int version, std::string text) {
  open_.insert_or_assign(kind, OpenFile{std::move(uri), version, TextDocument(std::move(text), encoding_)});
  touch();
}

void Project::change(FileKind kind, int version) {
  open_.at(kind).version = version;
  touch();
}

void Project::close(FileKind kind) {
  open_.erase(kind);
  touch();
}

TextDocument& Project::document(FileKind kind) {
  const auto open = open_.find(kind);
  if (open != open_.end()) return open->second.document;
  const auto known = onDisk_.find(kind);
  if (known != onDisk_.end()) return known->second;
  return onDisk_.emplace(kind, TextDocument(TextOnDisk(path(kind)), encoding_)).first->second;
}

void Project::touch() {
  now_.reset();
  onDisk_.clear();
}

const RuleSnapshot& Project::now() {
  if (now_) return *now_;
  now_ =
      std::make_shared<RuleSnapshot>(folder_, document(FileKind::kMatch).text(), document(FileKind::kAssemble).text());
  bool isNew = false;
  for (const FileKind kind : {FileKind::kMatch, FileKind::kAssemble}) {
    if (!now_->file(kind).isUsable() && usableText_.count(kind) > 0) continue;
    usableText_[kind] = now_->file(kind).text;
    isNew = true;
  }
  const bool isUsable = now_->matchFile.isUsable() && now_->assembleFile.isUsable();
  if (isUsable) {
    usable_ = now_;
  } else if (isNew || !usable_) {
    usable_ = std::make_shared<RuleSnapshot>(folder_, usableText_[FileKind::kMatch], usableText_[FileKind::kAssemble]);
  }
  return *now_;
}

const RuleSnapshot& Project::lastUsable() {
  now();
  return *usable_;
}
