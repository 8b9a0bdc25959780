// Reads one field of a table schema.

#ifndef LIBDATASRC_INTERNAL_SCHEMAFIELDREADER_H_
#define LIBDATASRC_INTERNAL_SCHEMAFIELDREADER_H_

#include <libdatasrc/internal/SchemaJson.h>
#include <libdatasrc/internal/TableSchema.h>

#include <memory>
#include <string>
#include <vector>

namespace sdm_internal {

// The member `missingValues` of a table or a field.
struct SchemaMissingValues {
  std::shared_ptr<const MissingTexts> texts;  // all of them; never null
  std::vector<SchemaCategory> labelled;       // strings with labels
};
// Returns `otherwise` if `object` has no such member.
SchemaMissingValues ReadMissingValues(const SchemaJson& json, const JsonValue& object,
                                      const SchemaMissingValues& otherwise);

// The member `attributes` and the given members of the standard, which are strings.
VariableAttributes ReadAttributes(const SchemaJson& json, const JsonValue& object,
                                  const std::vector<std::string>& members);

// Reads a field, but not its constraint `unique`. `missing`: the missing values of the table, for a
// field without its own.
SchemaField ReadSchemaField(const SchemaJson& json, const JsonValue& object,
                            const SchemaMissingValues& missing);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SCHEMAFIELDREADER_H_
