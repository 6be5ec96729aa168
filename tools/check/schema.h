#ifndef TOOLS_CHECK_SCHEMA_H
#define TOOLS_CHECK_SCHEMA_H

#include <string>

#include "tools/check/member_table.h"

// The JSON Schema (draft 7) of the file whose root is `root`, with a line feed at its end.
std::string SchemaOf(ObjectKind root);

#endif  // TOOLS_CHECK_SCHEMA_H
