// TableSchema: the dictionary that lies beside a data file, a Frictionless Table Schema.

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

// Looked up with the text of a cell, which is not copied.
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
  TextPosition place;  // of the value
};

struct SchemaField {
  enum class Type { ByFields, String, Integer, Number };

  std::string name;
  TextPosition place;  // of the name
  std::string label;
  Type type = Type::ByFields;
  std::vector<SchemaCategory> categories;
  bool categoriesOrdered = false;
  std::shared_ptr<const MissingTexts> missingValues;  // never null; most fields share the table's
};

struct TableSchema {
  std::string file;  // the schema's
  std::optional<std::string> title;
  std::vector<SchemaField> fields;  // each name once

  [[noreturn]] void Fail(TextPosition where, const std::string& text) const;
};

// The schema beside the data file at `path`: for survey.tsv, survey.schema.json. Nothing when there
// is none. Throws DataFileError for anything wrong with it.
std::optional<TableSchema> ReadSchemaBeside(const std::string& path);

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_TABLESCHEMA_H_
