#ifndef CLI_RULE_FILES_SCHEMA_H
#define CLI_RULE_FILES_SCHEMA_H

#include <string>

#include "cli/rule_files/member_table.h"

// The JSON Schema (draft 7) of the file whose root is `root`, with a line feed at its end.
std::string SchemaOf(ObjectKind root);

#endif  // CLI_RULE_FILES_SCHEMA_H
