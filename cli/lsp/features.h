#ifndef CLI_LSP_FEATURES_H
#define CLI_LSP_FEATURES_H

#include <json/json.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/lsp/diagnostics.h"
#include "cli/lsp/log_survey.h"
#include "cli/lsp/project.h"

// The answers to an editor's questions about a place in a rule file, as the protocol wants them.

// A place in a document of the project.
struct Spot {
  Project& project;
  FileKind file;
  size_t offset;
};

Json::Value ToJson(Position position);
Json::Value RangeJson(const TextDocument& document, Span span);

Json::Value CompletionsAt(const Spot& spot);
Json::Value HoverAt(const Spot& spot, const Survey& survey, const std::vector<Problem>& problems);

Json::Value DefinitionAt(const Spot& spot);
Json::Value ReferencesAt(const Spot& spot, bool withDefinition);
Json::Value HighlightsAt(const Spot& spot);
Json::Value RenamableAt(const Spot& spot);  // null: there is no name

// The edit of both files; sets `fault` to a reason when there is none.
Json::Value RenameAt(const Spot& spot, const std::string& newName, std::string& fault);

Json::Value SymbolsOf(Project& project, FileKind file);

Json::Value LensesOf(Project& project, FileKind file, const Survey& survey);
Json::Value HintsOf(Project& project, FileKind file, Span range, const Survey& survey);

#endif  // CLI_LSP_FEATURES_H
