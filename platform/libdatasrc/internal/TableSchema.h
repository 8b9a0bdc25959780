// TableSchema: the dictionary beside a data file, a Frictionless Table Schema (version 2).
//
// Every member that the standard defines has an effect or is rejected; none is silently ignored.
// The effect of each member:
//
//   field: name, title            name and label of the variable
//     type                        see the table of types below
//     format                      of date, time and datetime: default (ISO 8601), or a pattern of
//                                 strptime; `any` is rejected. Of a string: email, uri, uuid and
//                                 binary. Of a geopoint: array and object; of a geojson: topojson.
//                                 The form is checked. All other formats are rejected
//     decimalChar, groupChar, bareNumber, trueValues, falseValues
//                                 read with the types that have them, otherwise rejected
//     categories                  value labels. They do not restrict the values: `enum` does
//     categoriesOrdered           measurement level ordinal, otherwise nominal
//     missingValues               instead of the missing values of the table
//     description, rdfType, example   attributes of the variable, under the name of the member
//     constraints                 see the table of constraints below
//   schema: fields, fieldsMatch   fields match columns by name; by default (subset), columns may
//                                 have no field
//     missingValues               texts that read as missing. A text with a label is declared
//                                 missing instead if it has the type of the field. Labels of other
//                                 texts are kept in the attribute `missingValues`
//     title, description          label of the dataset; its attribute `description`
//     primaryKey, uniqueKeys      checked; rows with a missing value have no unique key
//     foreignKeys                 checked if they refer to the same table, otherwise rejected
//     $schema                     must be a string
//
//   type       values                                           stored as
//   string     any text                                         string
//   number     a decimal number, INF or -INF; NaN is missing.   number
//              These words may be in upper or lower case
//   integer    a decimal number without fraction                number
//   boolean    trueValues, falseValues                          1, 0
//   date       YYYY-MM-DD, or the pattern                       date value, format Date
//   datetime   ISO 8601, or the pattern; UTC without a zone     date value, format DateTime
//   time       hh:mm[:ss], or the pattern                       seconds since midnight, format Time
//   year       four digits or more, with an optional minus      number
//   yearmonth, duration, geopoint                               string; the form is checked
//   object, array, geojson                                      string; must be JSON of that kind
//   list       any text; `itemType` other than string: rejected   string
//   any, none  as in a file without a schema                    as in a file without a schema
//
//   constraint                    checked for                        rejected for
//   required, unique              every type
//   enum                          every type                         any, none
//   minimum, maximum, exclusiveMinimum, exclusiveMaximum
//                                 number, integer, date, time,       all others
//                                 datetime, year
//   minLength, maxLength          string (in characters)             all others
//   pattern                       string (see TextPattern.h)         all others
//   jsonSchema, unknown names                                        every type
//
// Members beyond the standard, which save the rest of a dictionary:
//
//   field: width                  the least width of a string variable, in bytes
//     level                       "unknown", "nominal", "ordinal", "interval" or "ratio"
//     role                        the attribute `role`
//     printFormat                 {"kind": "plain" | "date" | "time" | "datetime",
//                                  "width": 8, "decimals": 2}; all optional
//     missing                     an array: the values that are declared missing
//     attributes                  {"name": "value", "other": ["value", "value"]}
//   schema: weight, filter        the name of a column
//     split                       an array of names of columns
//     splitSeparate               true or false
//     attributes                  of the dataset, like those of a field
//
// Other members are skipped: the standard allows anyone to add members.

#ifndef LIBDATASRC_INTERNAL_TABLESCHEMA_H_
#define LIBDATASRC_INTERNAL_TABLESCHEMA_H_

#include <libdatasrc/internal/FieldRules.h>
#include <libdatasrc/internal/TextPosition.h>
#include <libdatasrc/ORVX_Variable.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sdm_internal {

// The words for MeasurementLevel and VariableFormat::Kind, in the order of the enumerators.
constexpr std::array<std::string_view, 5> kLevelWords = {"unknown", "nominal", "ordinal",
                                                         "interval", "ratio"};
constexpr std::array<std::string_view, 4> kFormatWords = {"plain", "date", "time", "datetime"};

using MissingTexts = TextSet;

struct SchemaCategory {
  DataValue value;
  std::optional<std::string> label;
  TextPosition position;  // of the value
};

struct SchemaField {
  std::string name;
  TextPosition position;  // of the name
  std::string label;
  FieldRules rules;
  std::vector<SchemaCategory> categories;
  bool categoriesOrdered = false;
  // The texts that read as missing; never null. Fields may share a set. A labelled text that has
  // the type of the field is not added to the set: its value is declared missing, in `missing`.
  std::shared_ptr<const MissingTexts> missingValues;

  std::optional<int> width;
  std::optional<MeasurementLevel> level;
  std::optional<VariableFormat> format;
  std::vector<SchemaCategory> missing;  // the values declared missing
  VariableAttributes attributes;
};

// The fields of a key and of a reference, by position in TableSchema::fields.
struct SchemaKey {
  std::string rule;  // "unique", "primaryKey" or "uniqueKeys"
  std::vector<std::size_t> fields;
};
struct SchemaReference {
  std::vector<std::size_t> fields;
  std::vector<std::size_t> referenced;  // as many as `fields`
};

struct SchemaName {
  std::string name;
  TextPosition position;
};

struct TableSchema {
  // How fields match columns, always by name.
  enum class FieldsMatch : std::uint8_t {
    Exact,     // each column has a field and each field a column, in the same order
    Equal,     // each column has a field and each field a column, in any order
    Subset,    // columns may have no field
    Superset,  // fields may have no column
    Partial,   // like Subset and Superset together, but at least one field has a column
  };

  std::string file;  // the path of the schema
  std::optional<std::string> title;
  std::vector<SchemaField> fields;  // names are unique
  FieldsMatch fieldsMatch = FieldsMatch::Subset;
  std::vector<SchemaKey> keys;
  std::vector<SchemaReference> references;
  VariableAttributes attributes;  // of the dataset
  std::optional<SchemaName> weight;
  std::optional<SchemaName> filter;
  std::vector<SchemaName> split;
  bool splitSeparate = false;

  [[noreturn]] void Fail(TextPosition where, const std::string& text) const;
};

// Reads the schema of the data file at `path`: for survey.tsv and survey.tsv.gz,
// survey.schema.json. Returns nothing if there is no schema. Throws DataFileError if the schema is
// invalid or cannot be read.
std::optional<TableSchema> ReadSchemaOf(const std::string& path);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TABLESCHEMA_H_
