// Reads a table schema; SchemaFieldReader reads its fields.

#include <libdatasrc/internal/RegularFile.h>
#include <libdatasrc/internal/SavedFiles.h>
#include <libdatasrc/internal/SchemaFieldReader.h>
#include <libdatasrc/SystemFileDataSource.h>

#include <array>
#include <map>
#include <utility>

namespace sdm_internal {

namespace {

constexpr std::size_t kMaxSchemaBytes = SystemFileDataSource::kMaxRecordBytes;
// The maximum number of parts in all fields together: states of patterns, values declared missing,
// and texts of attributes. Parts may take far more memory than the text of the schema. For example,
// missing values of the table with labels are copied to each field without its own missing values.
constexpr std::size_t kMaxParts = 1000000;

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

class SchemaReader {
 public:
  explicit SchemaReader(const std::string& file) : json_(file) { schema_.file = file; }

  TableSchema Read(const std::string& text) {
    const JsonValue root = ParseJson(schema_.file, text);
    json_.Require<JsonValue::Object>(root, "the schema");
    json_.OptionalMember<std::string>(root, "$schema");
    if (const auto* title = json_.OptionalMember<std::string>(root, "title")) {
      schema_.title = *title;
    }
    schema_.attributes = ReadAttributes(json_, root, {"description"});
    ReadFields(root);
    if (const JsonValue* match = root.Member("fieldsMatch")) ReadFieldsMatch(*match);
    ReadKeys(root);
    ReadReferences(root);
    ReadRoles(root);
    return std::move(schema_);
  }

 private:
  void ReadFields(const JsonValue& root) {
    const SchemaMissingValues none = {std::make_shared<MissingTexts>(MissingTexts{""}), {}};
    const SchemaMissingValues missing = ReadMissingValues(json_, root, none);
    for (const JsonValue& each : json_.RequiredMember<JsonValue::Array>(root, "fields")) {
      SchemaField field = ReadSchemaField(json_, each, missing);
      const std::size_t position = schema_.fields.size();
      if (!positions_.emplace(field.name, position).second) {
        schema_.Fail(field.position, "duplicate field name '" + field.name + "'");
      }
      const JsonValue* constraints = each.Member("constraints");
      if (constraints != nullptr && json_.BoolOf(*constraints, "unique", false)) {
        schema_.keys.push_back({"unique", {position}});
      }
      CountParts(field, each);
      schema_.fields.push_back(std::move(field));
    }
  }

  void CountParts(const SchemaField& field, const JsonValue& json) {
    parts_ += field.missing.size();
    for (const auto& [name, texts] : field.attributes) parts_ += texts.size();
    for (const auto* form : {&field.rules.form, &field.rules.pattern}) {
      if (*form && (*form)->pattern) parts_ += (*form)->pattern->StateCount();
    }
    if (parts_ > kMaxParts) json_.Fail(json, "too many missing values or too large patterns");
  }

  void ReadFieldsMatch(const JsonValue& match) {
    static constexpr std::array<std::string_view, 5> kWords = {"exact", "equal", "subset",
                                                               "superset", "partial"};
    // In older schemas, `fieldsMatch` is an array with one string.
    const auto* array = match.As<JsonValue::Array>();
    const JsonValue& text = array != nullptr && array->size() == 1 ? array->front() : match;
    schema_.fieldsMatch =
        static_cast<TableSchema::FieldsMatch>(json_.OneOf(text, "'fieldsMatch'", kWords));
  }

  void ReadKeys(const JsonValue& root) {
    if (const JsonValue* key = root.Member("primaryKey")) {
      schema_.keys.push_back({"primaryKey", FieldsOf(*key, "'primaryKey'")});
      for (const std::size_t field : schema_.keys.back().fields) {
        schema_.fields[field].rules.isRequired = true;
      }
    }
    const auto* keys = json_.OptionalMember<JsonValue::Array>(root, "uniqueKeys");
    if (keys == nullptr) return;
    for (const JsonValue& key : *keys) {
      schema_.keys.push_back({"uniqueKeys", FieldsOf(key, "a unique key")});
    }
  }

  void ReadReferences(const JsonValue& root) {
    const auto* references = json_.OptionalMember<JsonValue::Array>(root, "foreignKeys");
    if (references == nullptr) return;
    for (const JsonValue& each : *references) schema_.references.push_back(ReferenceOf(each));
  }

  SchemaReference ReferenceOf(const JsonValue& json) const {
    json_.Require<JsonValue::Object>(json, "a foreign key");
    const JsonValue& fields = json_.RequiredMember(json, "fields");
    const JsonValue& reference = json_.RequiredMember(json, "reference");
    json_.Require<JsonValue::Object>(reference, "'reference'");
    const auto* resource = json_.OptionalMember<std::string>(reference, "resource");
    if (resource != nullptr && !resource->empty()) {
      json_.Fail(json, "a foreign key to another table, '" + *resource + "', cannot be checked");
    }
    SchemaReference result{
        FieldsOf(fields, "'fields'"),
        FieldsOf(json_.RequiredMember(reference, "fields"), "'fields' of the reference")};
    if (result.fields.size() != result.referenced.size()) {
      json_.Fail(json, "a foreign key must have as many fields as its reference");
    }
    for (std::size_t i = 0; i < result.fields.size(); ++i) {
      const FieldRules& one = schema_.fields[result.fields[i]].rules;
      const FieldRules& other = schema_.fields[result.referenced[i]].rules;
      if (one.type != other.type)
        json_.Fail(json, "a foreign key must have the types it refers to");
    }
    return result;
  }

  // The positions of the named fields: `json` is one name, or an array of at least one name.
  std::vector<std::size_t> FieldsOf(const JsonValue& json, const std::string& what) const {
    std::vector<std::size_t> fields;
    if (json.As<std::string>() != nullptr) return {FieldOf(json, what)};
    for (const JsonValue& each : json_.Require<JsonValue::Array>(json, what)) {
      fields.push_back(FieldOf(each, "a field of " + what));
    }
    if (fields.empty()) json_.Fail(json, what + " must name a field");
    return fields;
  }

  std::size_t FieldOf(const JsonValue& json, const std::string& what) const {
    const auto& name = json_.Require<std::string>(json, what);
    const auto found = positions_.find(name);
    if (found == positions_.end()) json_.Fail(json, "there is no field '" + name + "'");
    return found->second;
  }

  // Weight, filter and split.
  void ReadRoles(const JsonValue& root) {
    if (const JsonValue* weight = root.Member("weight")) schema_.weight = NameOf(*weight, "weight");
    if (const JsonValue* filter = root.Member("filter")) schema_.filter = NameOf(*filter, "filter");
    if (const auto* split = json_.OptionalMember<JsonValue::Array>(root, "split")) {
      for (const JsonValue& each : *split) schema_.split.push_back(NameOf(each, "split"));
    }
    schema_.splitSeparate = json_.BoolOf(root, "splitSeparate", false);
  }

  SchemaName NameOf(const JsonValue& json, const std::string& member) const {
    return {json_.Require<std::string>(json, "'" + member + "'"), json.position};
  }

  SchemaJson json_;
  std::map<std::string, std::size_t> positions_;  // fields by name
  std::size_t parts_ = 0;
  TableSchema schema_;
};

}  // namespace

void TableSchema::Fail(TextPosition where, const std::string& text) const {
  throw DataFileError(file, where.line, where.column, text);
}

std::optional<TableSchema> ReadSchemaOf(const std::string& path) {
  const std::string schemaPath = FindSavedFiles(path).schema;
  std::optional<RegularFile> file = RegularFile::OpenIfExists(schemaPath);
  if (!file) return std::nullopt;
  const std::string text = ReadAll(std::move(*file));
  return SchemaReader(schemaPath).Read(text);
}

}  // namespace sdm_internal
