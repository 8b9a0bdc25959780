// TableSchema: the dictionary beside a data file, a Frictionless Table Schema.

#ifndef LIBDATASRC_INTERNAL_TABLESCHEMA_H_
#define LIBDATASRC_INTERNAL_TABLESCHEMA_H_

#include <libdatasrc/internal/TextPosition.h>
#include <libdatasrc/ORVX_Variable.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace sdm_internal {

// Transparent: lookup by string_view copies nothing.
struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>()(text);
  }
};
using MissingTexts = std::unordered_set<std::string, TextHash, std::equal_to<>>;

struct SchemaCategory {
  DataValue value;
  std::string label;
  TextPosition position;  // of the value
};

struct SchemaField {
  enum class Type { Inferred, String, Integer, Number };

  std::string name;
  TextPosition position;  // of the name
  std::string label;
  Type type = Type::Inferred;
  std::vector<SchemaCategory> categories;
  bool categoriesOrdered = false;
  // Never null; usually the missing values of the table.
  std::shared_ptr<const MissingTexts> missingValues;
};

struct TableSchema {
  std::string file;  // of the schema
  std::optional<std::string> title;
  std::vector<SchemaField> fields;  // names are unique

  [[noreturn]] void Fail(TextPosition where, const std::string& text) const;
};

// Reads the schema of the data file at `path`: for survey.tsv, survey.schema.json. Returns nothing
// if it does not exist. Throws DataFileError if it is invalid.
std::optional<TableSchema> ReadSchemaOf(const std::string& path);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TABLESCHEMA_H_
