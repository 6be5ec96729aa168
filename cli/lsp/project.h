#ifndef CLI_LSP_PROJECT_H
#define CLI_LSP_PROJECT_H

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/lsp/text_document.h"
#include "cli/rule_files/rule_model.h"

// Both rule files of a folder, as the editor has them.

enum class FileKind { kMatch, kAssemble };

// "file:///a%20b" and "/a b". An empty path for an address that names no file of this machine.
std::string PathOf(const std::string& uri);
std::string UriOf(std::string_view path);

// The texts of one moment and what they say.
struct RuleSnapshot {
  JsonFile matchFile;
  JsonFile assembleFile;
  RuleModel model;

  RuleSnapshot(std::string folder, std::string matchText, std::string assembleText);

  const JsonFile& file(FileKind kind) const { return kind == FileKind::kMatch ? matchFile : assembleFile; }
};

class Project {
 public:
  Project(std::string folder, PositionEncoding encoding) : folder_(std::move(folder)), encoding_(encoding) {}

  const std::string& folder() const { return folder_; }
  std::string path(FileKind kind) const;
  std::string uri(FileKind kind) const;

  void open(FileKind kind, std::string uri, int version, std::string text);
  void close(FileKind kind);
  bool isOpen(FileKind kind) const { return open_.count(kind) > 0; }
  bool hasOpenFile() const { return !open_.empty(); }

  // The document as the editor has it, else the file on disk, else an empty text.
  TextDocument& document(FileKind kind);

  // Of an open document, as the editor counts.
  int version(FileKind kind) const { return open_.at(kind).version; }

  // To be called after an open document was changed.
  void change(FileKind kind, int version);

  // To be called after anything was changed, on disk too.
  void touch();

  // Of the present texts.
  const RuleSnapshot& now();

  // Where a file cannot be read as JSON while it is being typed, the last texts that could be.
  const RuleSnapshot& lastUsable();

 private:
  struct OpenFile {
    std::string uri;  // as the editor writes it
    int version;
    TextDocument document;
  };

  std::string folder_;
  PositionEncoding encoding_;
  std::map<FileKind, OpenFile> open_;
  std::map<FileKind, TextDocument> onDisk_;
  std::shared_ptr<RuleSnapshot> now_;
  std::map<FileKind, std::string> usableText_;
  std::shared_ptr<RuleSnapshot> usable_;
};

#endif  // CLI_LSP_PROJECT_H
