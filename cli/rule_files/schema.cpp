#include "cli/rule_files/schema.h"

#include <json/json.h>

#include <map>

#include "cli/output/json_text.h"
#include "rules/rule_syntax.h"

namespace {

using Form = MemberRow::NameForm;

// Kinds of objects with the name of their definition and its title.
const std::map<ObjectKind, std::pair<const char*, std::string>> kDefinitions = {
    {ObjectKind::kMatchRoot, {"matchRoot", std::string("Rules for the lines of logs (") + kMatchFileName + ")"}},
    {ObjectKind::kSegmentFrame, {"segmentFrame", "An element of the segment frame table"}},
    {ObjectKind::kFrameEntry, {"frameEntry", "A frame entry"}},
    {ObjectKind::kPlainRule, {"plainRule", "A rule that is gone once it has all its parameters"}},
    {ObjectKind::kSegmentRule, {"segmentRule", "A rule that stays"}},
    {ObjectKind::kAssembleRoot, {"assembleRoot", std::string("Templates of the results (") + kAssembleFileName + ")"}},
    {ObjectKind::kSection, {"section", "The feature ids of an event type"}},
    {ObjectKind::kTemplates, {"templates", "The result keys of a feature id"}},
};

Json::Value ReferenceTo(ObjectKind kind) {
  Json::Value reference;
  reference["$ref"] = std::string("#/definitions/") + kDefinitions.at(kind).first;
  return reference;
}

Json::Value SchemaOfValue(const MemberRow& row) {
  Json::Value schema;
  switch (row.value) {
    case ValueForm::kText:
      schema["type"] = "string";
      if (row.isRequired) schema["minLength"] = 1;
      break;
    case ValueForm::kInteger:
      schema["type"] = "integer";
      schema["minimum"] = INT_MIN;
      schema["maximum"] = row.maximum;
      break;
    case ValueForm::kObject:
      // Beside $ref itself other keywords would not count.
      schema["allOf"].append(ReferenceTo(row.inner));
      break;
    default:
      schema["type"] = "array";
      schema["maxItems"] = kMaxElements;
      if (row.value == ValueForm::kTexts) {
        schema["items"]["type"] = "string";
      } else {
        schema["items"] = ReferenceTo(row.inner);
      }
  }
  schema["description"] = row.meaning;
  if (!row.isUsed) schema["deprecated"] = true;
  return schema;
}

// Adds the definition of `kind` and of all that it holds.
void Define(ObjectKind kind, Json::Value& definitions) {
  const auto& [name, title] = kDefinitions.at(kind);
  if (definitions.isMember(name)) return;
  Json::Value schema;
  schema["type"] = "object";
  schema["title"] = title;
  schema["additionalProperties"] = false;
  definitions[name] = schema;
  for (const MemberRow& row : AllMemberRows()) {
    if (row.object != kind) continue;
    const std::string member(row.name);
    if (row.nameForm == Form::kExact) {
      schema["properties"][member] = SchemaOfValue(row);
    } else if (row.nameForm == Form::kAny) {
      schema["additionalProperties"] = SchemaOfValue(row);
    } else {
      schema["patternProperties"][(row.nameForm == Form::kPrefix ? "^" : "") + member] = SchemaOfValue(row);
    }
    if (row.isRequired) schema["required"].append(member);
    if (!row.needs.empty()) schema["dependencies"][member].append(std::string(row.needs));
    if (row.inner != ObjectKind::kNone) Define(row.inner, definitions);
  }
  definitions[name] = schema;
}

}  // namespace

std::string SchemaOf(ObjectKind root) {
  Json::Value schema;
  schema["allOf"].append(ReferenceTo(root));
  schema["$schema"] = "http://json-schema.org/draft-07/schema#";
  Define(root, schema["definitions"]);
  return JsonPage(schema);
}
