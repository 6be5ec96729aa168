#ifndef CLI_LSP_CURSOR_H
#define CLI_LSP_CURSOR_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cli/lsp/project.h"
#include "cli/rule_files/member_table.h"

// Where in a rule file a place lies. Told from the text in front of it alone, which is all that can be relied on while
// someone types.
struct Cursor {
  ObjectKind object = ObjectKind::kNone;  // the innermost object around the place
  std::vector<std::string> keys;          // of the members that lead there; "" for an element of an array
  bool isInText = false;                  // inside quotes
  bool isKey = false;                     // inside the name of a member, or where one may begin
  std::string member;                     // of which the place is in the value
  size_t textBegin = 0;                   // behind the quote, or the place itself
  std::string before;                     // from there to the place, as it is written
};

Cursor CursorAt(std::string_view text, size_t offset, FileKind kind);

#endif  // CLI_LSP_CURSOR_H
