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
  std::shared_ptr<const MissingTexts> texts;  // given as strings; never null
  std::vector<SchemaCategory> labelled;       // given as objects
};
// Returns `otherwise` if `object` has no member `missingValues`.
SchemaMissingValues ReadMissingValues(const SchemaJson& json, const JsonValue& object,
                                      const SchemaMissingValues& otherwise);

// Reads the member `attributes`. Also reads each member listed in `members` as an attribute with
// the name of the member: it must be a string, but `example` may also be a number, true or false.
VariableAttributes ReadAttributes(const SchemaJson& json, const JsonValue& object,
                                  const std::vector<std::string>& members);

// Reads a field, but not its constraint `unique`. `missing`: the missing values of the table, which
// are used for a field that has no `missingValues`.
SchemaField ReadSchemaField(const SchemaJson& json, const JsonValue& object,
                            const SchemaMissingValues& missing);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_SCHEMAFIELDREADER_H_
