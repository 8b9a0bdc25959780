// Builds columns and variables from the records of a data file and its schema.

#include <libdatasrc/DataFileError.h>
#include <libdatasrc/internal/DataFile.h>
#include <libdatasrc/internal/DelimitedText.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/TableSchema.h>
#include <libdatasrc/internal/Utf8.h>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace sdm_internal {

namespace {

// Quotes a field for an error text, truncated and on one line.
std::string Quoted(std::string_view text) {
  constexpr std::size_t kMost = 40;
  std::string shown(CutUtf8(text, kMost));
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return "'" + shown + (shown.size() < text.size() ? "...'" : "'");
}

// Builds one column. Stores each field as a number and as text while all fields so far are numbers,
// because even the last field may make the column a string.
class ColumnReader {
 public:
  ColumnReader(std::string_view name, const SchemaField* field)
      : name_(name), field_(field), type_(field != nullptr ? field->type : Type::Inferred) {}

  void Add(const DelimitedText& record, std::size_t index) {
    const std::string_view text = record.Field(index);
    const bool isMissing = IsMissing(text);
    if (type_ != Type::String && isNumeric_) AddNumber(record, index, isMissing);
    if (type_ == Type::String || type_ == Type::Inferred) {
      texts_.Add(isMissing ? std::string_view() : text);
      if (!isMissing) widest_ = std::max(widest_, text.size());
    }
  }

  ORVX_Variable MakeVariable(const TableSchema* schema) const {
    const int width = IsNumeric() ? 0 : static_cast<int>(widest_);
    ORVX_Variable variable(ORVX_Variable::NextID(), name_, width);
    variable.SetMeasurementLevel(Level());
    if (field_ != nullptr) {
      variable.SetLabel(field_->label);
      variable.SetValueLabels(Labels(*schema));
    }
    return variable;
  }

  CaseColumn TakeColumn() {
    if (IsNumeric()) return std::move(numbers_);
    return std::move(texts_);
  }

 private:
  using Type = SchemaField::Type;

  bool IsNumeric() const { return type_ != Type::String && isNumeric_; }

  bool IsMissing(std::string_view text) const {
    return field_ != nullptr ? field_->missingValues->contains(text) : text.empty();
  }

  void AddNumber(const DelimitedText& record, std::size_t index, bool isMissing) {
    const std::string_view text = record.Field(index);
    if (isMissing || Trimmed(text).empty()) return numbers_.push_back(kMissingNumber);
    const std::optional<double> number = ParseNumber(text);
    if (!number) {
      if (type_ != Type::Inferred) FailAt(record, index, "is not a number");
      isNumeric_ = false;
      numbers_ = {};
      return;
    }
    if (type_ == Type::Integer && std::trunc(*number) != *number) {
      FailAt(record, index, "is not a whole number");
    }
    numbers_.push_back(*number);
  }

  [[noreturn]] void FailAt(const DelimitedText& record, std::size_t index,
                           const std::string& reason) const {
    record.Fail(record.FieldPosition(index),
                Quoted(record.Field(index)) + " in column " + Quoted(name_) + " " + reason);
  }

  // Unknown for a number without categories, because the file does not determine the level.
  MeasurementLevel Level() const {
    const bool hasCategories = field_ != nullptr && !field_->categories.empty();
    if (hasCategories && field_->categoriesOrdered) return MeasurementLevel::Ordinal;
    return hasCategories || !IsNumeric() ? MeasurementLevel::Nominal : MeasurementLevel::Unknown;
  }

  ValueLabels Labels(const TableSchema& schema) const {
    ValueLabels labels;
    for (const SchemaCategory& category : field_->categories) {
      const DataValue value = ValueOf(category, schema);
      if (category.label.empty()) continue;
      if (!labels.emplace(value, category.label).second) {
        schema.Fail(category.position, "second label for the same value");
      }
    }
    return labels;
  }

  // The value of a category, converted to the type of this column.
  DataValue ValueOf(const SchemaCategory& category, const TableSchema& schema) const {
    const auto* number = std::get_if<double>(&category.value);
    const auto* text = std::get_if<std::string>(&category.value);
    if (!IsNumeric()) return text != nullptr ? *text : ShortestText(*number);
    if (number != nullptr) return *number;
    const std::optional<double> read = ParseNumber(*text);
    if (!read)
      schema.Fail(category.position, Quoted(*text) + " is not a number, but the column is numeric");
    return *read;
  }

  std::string name_;
  const SchemaField* field_;  // borrowed, null for none
  Type type_;
  bool isNumeric_ = true;
  std::size_t widest_ = 1;
  NumberColumn numbers_;
  TextColumn texts_;
};

class DataFileReader {
 public:
  explicit DataFileReader(const std::string& path)
      : path_(path), records_(RegularFile(path)), schema_(ReadSchemaOf(path)) {}

  DataFile Read(const std::function<void()>& check) {
    ReadHeader();
    while (records_.Next()) {
      if (check) check();
      if (!records_.IsEmptyLine() || columns_.size() == 1) AddRecord();
    }
    return Finish();
  }

 private:
  void ReadHeader() {
    if (!records_.Next()) {
      throw DataFileError(path_, "empty file, without a header line");
    }
    std::unordered_map<std::string_view, const SchemaField*> fields;
    if (schema_) {
      for (const SchemaField& field : schema_->fields) fields.emplace(field.name, &field);
    }
    std::unordered_map<std::string_view, std::size_t> positions;
    for (std::size_t i = 0; i < records_.FieldCount(); ++i) {
      const std::string_view name = records_.Field(i);
      if (name.empty()) records_.Fail(records_.FieldPosition(i), "column without a name");
      if (!positions.emplace(name, i).second) {
        records_.Fail(records_.FieldPosition(i), "duplicate column name " + Quoted(name));
      }
      const auto field = fields.find(name);
      columns_.emplace_back(name, field != fields.end() ? field->second : nullptr);
    }
    if (!schema_) return;
    for (const SchemaField& field : schema_->fields) {
      if (positions.contains(field.name)) continue;
      schema_->Fail(field.position, "the data file has no column " + Quoted(field.name));
    }
  }

  void AddRecord() {
    const std::size_t count = records_.FieldCount();
    if (count != columns_.size()) {
      const std::string text =
          std::to_string(count) + " fields, but the header has " + std::to_string(columns_.size());
      const bool isLong = count > columns_.size();
      records_.Fail(isLong ? records_.FieldPosition(columns_.size()) : records_.End(), text);
    }
    for (std::size_t i = 0; i < count; ++i) columns_[i].Add(records_, i);
    ++rows_;
  }

  DataFile Finish() {
    DataFile file;
    for (ColumnReader& column : columns_) {
      file.variables.push_back(column.MakeVariable(schema_ ? &*schema_ : nullptr));
      file.cases.Add(file.variables.back().GetID(), column.TakeColumn());
    }
    file.cases.SetRowCount(rows_);
    if (schema_) file.label = schema_->title;
    return file;
  }

  std::string path_;
  DelimitedText records_;
  std::optional<TableSchema> schema_;
  std::vector<ColumnReader> columns_;
  std::size_t rows_ = 0;
};

}  // namespace

DataFile ReadDataFile(const std::string& path, const std::function<void()>& check) {
  return DataFileReader(path).Read(check);
}

}  // namespace sdm_internal
