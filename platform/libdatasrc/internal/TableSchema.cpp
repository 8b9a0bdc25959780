// Reads the members of a table schema that data files use.

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/JsonText.h>
#include <libdatasrc/internal/RegularFile.h>
#include <libdatasrc/internal/TableSchema.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>

namespace sdm_internal {

namespace {

constexpr std::size_t kMaxSchemaBytes = SystemFileDataSource::kMaxRecordBytes;

std::string ReadAll(RegularFile file) {
  std::string text;
  std::array<char, std::size_t{64} << 10> chunk;
  while (const std::size_t got = file.Read(chunk.data(), chunk.size())) {
    text.append(chunk.data(), got);
    if (text.size() <= kMaxSchemaBytes) continue;
    throw DataFileError(file.Path(),
                        "schema larger than " + std::to_string(kMaxSchemaBytes) + " bytes");
  }
  return text;
}

template <class T>
constexpr const char* kTypeName = nullptr;
template <>
constexpr const char* kTypeName<bool> = "true or false";
template <>
constexpr const char* kTypeName<std::string> = "a string";
template <>
constexpr const char* kTypeName<JsonValue::Array> = "an array";
template <>
constexpr const char* kTypeName<JsonValue::Object> = "an object";

std::optional<SchemaField::Type> ParseType(std::string_view name) {
  static constexpr std::array<std::string_view, 13> kInferred = {
      "any",      "array", "boolean", "date", "datetime", "duration", "geojson",
      "geopoint", "list",  "object",  "time", "year",     "yearmonth"};
  if (name == "string") return SchemaField::Type::String;
  if (name == "integer") return SchemaField::Type::Integer;
  if (name == "number") return SchemaField::Type::Number;
  const bool isKnown = std::find(kInferred.begin(), kInferred.end(), name) != kInferred.end();
  return isKnown ? std::optional(SchemaField::Type::Inferred) : std::nullopt;
}

class SchemaReader {
 public:
  explicit SchemaReader(const std::string& file) { schema_.file = file; }

  TableSchema Read(const std::string& text) {
    const JsonValue root = ParseJson(schema_.file, text);
    Require<JsonValue::Object>(root, "the schema");
    if (const auto* title = OptionalMember<std::string>(root, "title")) schema_.title = *title;
    missingValues_ = MissingValuesOf(root, std::make_shared<MissingTexts>(MissingTexts{""}));
    for (const JsonValue& field : RequiredMember<JsonValue::Array>(root, "fields"))
      ReadField(field);
    return std::move(schema_);
  }

 private:
  void ReadField(const JsonValue& json) {
    Require<JsonValue::Object>(json, "a field");
    SchemaField field;
    field.name = RequiredMember<std::string>(json, "name");
    field.position = json.Member("name")->position;
    if (!names_.insert(field.name).second) {
      schema_.Fail(field.position, "duplicate field name '" + field.name + "'");
    }
    if (const auto* title = OptionalMember<std::string>(json, "title")) field.label = *title;
    field.type = TypeOf(json);
    if (const auto* ordered = OptionalMember<bool>(json, "categoriesOrdered")) {
      field.categoriesOrdered = *ordered;
    }
    if (const auto* categories = OptionalMember<JsonValue::Array>(json, "categories")) {
      for (const JsonValue& each : *categories) field.categories.push_back(CategoryOf(each));
    }
    field.missingValues = MissingValuesOf(json, missingValues_);
    schema_.fields.push_back(std::move(field));
  }

  SchemaField::Type TypeOf(const JsonValue& field) const {
    const auto* name = OptionalMember<std::string>(field, "type");
    if (name == nullptr) return SchemaField::Type::Inferred;
    const auto type = ParseType(*name);
    if (!type) Fail(*field.Member("type"), "'" + *name + "' is not a field type");
    return *type;
  }

  // `json` is a value, or an object with `value` and `label`.
  SchemaCategory CategoryOf(const JsonValue& json) const {
    SchemaCategory category;
    const JsonValue* value = &json;
    if (json.As<JsonValue::Object>() != nullptr) {
      value = json.Member("value");
      if (value == nullptr) Fail(json, "category without a value");
      if (const auto* label = OptionalMember<std::string>(json, "label")) category.label = *label;
    }
    category.position = value->position;
    if (const auto* number = value->As<double>()) {
      category.value = *number;
    } else if (const auto* text = value->As<std::string>()) {
      category.value = *text;
    } else {
      Fail(*value, "the value of a category must be a number or a string");
    }
    return category;
  }

  std::shared_ptr<const MissingTexts> MissingValuesOf(
      const JsonValue& object, std::shared_ptr<const MissingTexts> otherwise) const {
    const auto* values = OptionalMember<JsonValue::Array>(object, "missingValues");
    if (values == nullptr) return otherwise;
    const auto texts = std::make_shared<MissingTexts>();
    for (const JsonValue& each : *values) {
      texts->insert(Require<std::string>(each, "a missing value"));
    }
    return texts;
  }

  template <class T>
  const T& Require(const JsonValue& json, const std::string& what) const {
    const T* value = json.As<T>();
    if (value == nullptr) Fail(json, what + " must be " + kTypeName<T>);
    return *value;
  }

  // Null if there is no such member.
  template <class T>
  const T* OptionalMember(const JsonValue& object, const std::string& name) const {
    const JsonValue* member = object.Member(name);
    return member != nullptr ? &Require<T>(*member, "'" + name + "'") : nullptr;
  }

  template <class T>
  const T& RequiredMember(const JsonValue& object, const std::string& name) const {
    const T* value = OptionalMember<T>(object, name);
    if (value == nullptr) Fail(object, "missing member '" + name + "'");
    return *value;
  }

  [[noreturn]] void Fail(const JsonValue& json, const std::string& text) const {
    schema_.Fail(json.position, text);
  }

  std::set<std::string> names_;
  std::shared_ptr<const MissingTexts> missingValues_;  // of the table
  TableSchema schema_;
};

}  // namespace

void TableSchema::Fail(TextPosition where, const std::string& text) const {
  throw DataFileError(file, where.line, where.column, text);
}

std::optional<TableSchema> ReadSchemaOf(const std::string& path) {
  const std::string schemaPath =
      std::filesystem::path(path).replace_extension(".schema.json").string();
  std::optional<RegularFile> file = RegularFile::OpenIfExists(schemaPath);
  if (!file) return std::nullopt;
  const std::string text = ReadAll(std::move(*file));
  return SchemaReader(schemaPath).Read(text);
}

}  // namespace sdm_internal
