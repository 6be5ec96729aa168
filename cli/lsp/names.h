#ifndef CLI_LSP_NAMES_H
#define CLI_LSP_NAMES_H

#include <string>
#include <vector>

#include "cli/lsp/project.h"
#include "cli/rule_files/rule_texts.h"

// The names that authors give, and every place in both files where one stands.

enum class NameKind { kRule, kParam, kFeatureId };

struct Name {
  NameKind kind;
  std::string entry;  // of a rule or parameter: the key of its frame entry
  std::string rule;   // of a parameter
  std::string text;

  bool operator==(const Name&) const = default;
};

struct NamePlace {
  Name name;
  FileKind file;
  Span span;  // without quotes
  bool isDefinition;
};

std::vector<NamePlace> NamesIn(const RuleSnapshot& rules);

// The places whose span holds the offset, or ends there.
std::vector<NamePlace> NamesAt(const std::vector<NamePlace>& places, FileKind file, size_t offset);

// The names of the records that the entry makes.
std::vector<std::string> RecordsOf(const PlacedEntry& entry);

// Why `text` cannot be a name of that kind; empty when it can.
std::string WhyNoName(NameKind kind, const std::string& text);

// The record names that stand in a template, with their offsets.
std::vector<Piece> RecordsInTemplate(const std::string& text);

#endif  // CLI_LSP_NAMES_H
