#include <libdatasrc/internal/FieldValue.h>
#include <libdatasrc/internal/FileColumn.h>
#include <libdatasrc/internal/LargePages.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/Utf8.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <utility>

namespace sdm_internal {

namespace {

using Reason = ImportReport::Reason;
using Type = ImportReport::Type;

Type TypeOf(FieldRules::Type type) {
  switch (type) {
    case FieldRules::Type::Any:
    case FieldRules::Type::String:
      return Type::Text;
    case FieldRules::Type::Boolean:
      return Type::Boolean;
    case FieldRules::Type::Date:
      return Type::Date;
    case FieldRules::Type::Time:
      return Type::Time;
    case FieldRules::Type::DateTime:
      return Type::DateTime;
    case FieldRules::Type::Number:
    case FieldRules::Type::Integer:
    case FieldRules::Type::Year:
      break;
  }
  return Type::Number;
}

// Shortens a field for a message, and puts it on one line.
std::string Shown(std::string_view text) {
  constexpr std::size_t kMost = 40;
  std::string shown(CutUtf8(text, kMost));
  std::replace_if(
      shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return shown.size() < text.size() ? shown + "..." : shown;
}

}  // namespace

FileColumn::FileColumn(std::string name, const SchemaField* field, const ColumnRules& rules)
    : field_(field), rules_(rules) {
  reported_.name = std::move(name);
  if (field == nullptr) return;
  rules_.field = &field->rules;
  if (!rules_.IsFixed()) return;
  type_ = TypeOf(field->rules.type);
  reported_.reason = Reason::Schema;
}

bool FileColumn::Append(const BlockColumn& block, ColumnPart& part, const ReadSoFar& soFar) {
  if (part.type != type_) ReadColumn(block.records, block.field, type_, rules_, part);
  if (part.refutedBy != ColumnPart::kNone) {
    if (rules_.IsFixed()) return false;
    if (hasValues_) {
      Report(block, part.refutedBy, part.reason);
    } else {
      FindType(block, part, soFar.rows - block.records.RowCount());
    }
    if (hasValues_ || (type_ == Type::Text && firstBlank_ != ColumnPart::kNone)) {
      RequireSecondReading();
      return true;
    }
  }
  if (part.brokenBy != ColumnPart::kNone) return false;
  if (!hasValues_ && part.firstValue != ColumnPart::kNone) {
    if (reported_.line == 0) {
      Report(block, part.firstValue, rules_.IsFixed() ? Reason::Schema : Reason::EveryValue);
    }
    hasValues_ = true;
  }
  AppendValues(part, soFar);
  return true;
}

void FileColumn::BeginSecondReading() {
  isComplete_ = !mustBeReadAgain_;
  if (isComplete_) return;
  mustBeReadAgain_ = false;
  hasValues_ = false;
}

void FileColumn::CheckField(const DelimitedText& record, std::size_t index) const {
  if (rules_.field == nullptr) return;
  const std::string_view text = record.Field(index);
  const bool isWord = rules_.missing->Find(text) != MissingWords::kNone;
  const bool isBlank = !isWord && type_ != Type::Text && Trimmed(text).empty();
  if (isBlank && !rules_.IsFixed()) return;  // see RequiredButBlank
  const std::string problem = isWord || isBlank ? ProblemOfMissing() : ProblemOf(text);
  if (!problem.empty()) record.Fail(record.FieldPosition(index), problem);
}

std::size_t FileColumn::RequiredButBlank() const {
  const bool isRequired = rules_.field != nullptr && rules_.field->isRequired;
  return isRequired && type_ != Type::Text ? firstBlank_ : ColumnPart::kNone;
}

void FileColumn::FailAsMissing(const DelimitedText& record, std::size_t index) const {
  record.Fail(record.FieldPosition(index), ProblemOfMissing());
}

ORVX_Variable FileColumn::MakeVariable(const TableSchema* schema) const {
  const std::size_t width = std::max<std::size_t>(
      widest_, field_ != nullptr ? static_cast<std::size_t>(field_->width.value_or(1)) : 1);
  ORVX_Variable variable(ORVX_Variable::NextID(), Name(),
                         type_ == Type::Text ? static_cast<int>(width) : 0);
  variable.SetMeasurementLevel(Level());
  variable.SetFormat(Format());
  if (type_ == Type::Boolean) variable.SetValueLabels({{0.0, "false"}, {1.0, "true"}});
  if (field_ == nullptr) return variable;
  variable.SetLabel(field_->label);
  variable.SetAttributes(field_->attributes);
  variable.SetMissingValues(DeclaredMissing(*schema));
  if (ValueLabels labels = Labels(*schema); !labels.empty() || !field_->categories.empty()) {
    variable.SetValueLabels(std::move(labels));
  }
  return variable;
}

CaseColumn FileColumn::TakeValues() {
  if (type_ == Type::Text) return std::move(texts_);
  return std::move(numbers_);
}

ImportReport::Variable FileColumn::TakeReport() {
  reported_.type = type_;
  std::map<std::string_view, std::uint64_t> counts;  // in ascending order
  for (const auto& [number, count] : missing_) counts[rules_.missing->Word(number)] += count;
  for (const auto& [word, count] : counts) reported_.missing.push_back({std::string(word), count});
  return std::move(reported_);
}

// Finds a type that allows all values of `block`, the first block in which the column has a value.
// The column has `rowsBefore` missing values before the block.
void FileColumn::FindType(const BlockColumn& block, ColumnPart& part, std::size_t rowsBefore) {
  std::size_t furthest = part.refutedBy;
  Reason reason = part.reason;
  for (const Type type : {Type::Boolean, Type::Date, Type::DateTime, Type::Text}) {
    ReadColumn(block.records, block.field, type, rules_, part);
    type_ = type;
    if (part.refutedBy == ColumnPart::kNone) break;
    if (part.refutedBy <= furthest) continue;
    furthest = part.refutedBy;
    reason = part.reason;
  }
  if (type_ != Type::Text) return;
  numbers_ = {};
  texts_.Insert(0, rowsBefore);
  Report(block, furthest, reason);
}

void FileColumn::Report(const BlockColumn& block, std::size_t row, Reason reason) {
  std::string buffer;
  reported_.value = Shown(FieldText(block.records.RawField(row, block.field), buffer));
  reported_.line = block.line + static_cast<long>(block.records.LineFeedsBefore(row, block.field));
  reported_.reason = reason;
}

void FileColumn::AppendValues(const ColumnPart& part, const ReadSoFar& soFar) {
  widest_ = std::max(widest_, part.widest);
  if (firstBlank_ == ColumnPart::kNone && part.firstBlank != ColumnPart::kNone) {
    firstBlank_ = soFar.rows - part.numbers.size() + part.firstBlank;
  }
  for (const auto& [word, count] : part.missing) missing_[word] += count;
  // Reserving too much costs little: the system provides memory only when it is first used.
  constexpr double kMargin = 1.08;
  const auto estimate = [&](std::size_t now, std::size_t reserved) {
    return std::max(
        {now, reserved + reserved / 8,
         static_cast<std::size_t>(static_cast<double>(now) * soFar.timesAsMuch * kMargin)});
  };
  if (type_ != Type::Text) {
    if (soFar.rows > numbers_.capacity()) {
      numbers_.reserve(estimate(soFar.rows, numbers_.capacity()));
      UseLargePages(numbers_.data(), numbers_.capacity() * sizeof(double));
    }
    numbers_.insert(numbers_.end(), part.numbers.begin(), part.numbers.end());
    return;
  }
  const std::size_t bytes = texts_.PoolBytes() + part.texts.size();
  if (soFar.rows > reservedRows_ || bytes > reservedBytes_) {
    reservedRows_ = estimate(soFar.rows, reservedRows_);
    reservedBytes_ = estimate(bytes, reservedBytes_);
    texts_.Reserve(reservedRows_, reservedBytes_);
  }
  texts_.Append(part.texts, part.lengths);
}

void FileColumn::RequireSecondReading() {
  mustBeReadAgain_ = true;
  type_ = Type::Text;
  numbers_ = {};
  texts_ = {};
  missing_.clear();
  widest_ = 1;
  isComplete_ = true;
}

std::string FileColumn::ProblemOfMissing() const {
  if (!rules_.field->isRequired) return {};
  return "missing value in column " + Quoted(Name()) + ", where the schema requires a value";
}

std::string FileColumn::ProblemOf(std::string_view text) const {
  const FieldRules& field = *rules_.field;
  const std::string value = Quoted(text) + " in column " + Quoted(Name());
  std::string rule;
  if (field.IsNumeric()) {
    const std::optional<double> number = field.Parse(text, rules_.decimalMark);
    if (!number) return value + " is not " + field.TypeName();
    if (std::isnan(*number)) return ProblemOfMissing();
    rule = field.BrokenRule(*number);
  } else {
    rule = field.BrokenRule(text);
  }
  return rule.empty() ? rule : value + " breaks the rule of the schema: " + rule;
}

VariableFormat FileColumn::Format() const {
  if (field_ != nullptr && field_->format) return *field_->format;
  switch (type_) {
    case Type::Date:
      return {VariableFormat::Kind::Date};
    case Type::Time:
      return {VariableFormat::Kind::Time};
    case Type::DateTime:
      return {VariableFormat::Kind::DateTime};
    default:
      return {};
  }
}

// Unknown for a column of numbers without categories: numbers do not show their level.
MeasurementLevel FileColumn::Level() const {
  if (field_ != nullptr && field_->level) return *field_->level;
  const bool hasCategories = field_ != nullptr && !field_->categories.empty();
  if (hasCategories && field_->categoriesOrdered) return MeasurementLevel::Ordinal;
  if (hasCategories || type_ == Type::Text || type_ == Type::Boolean) {
    return MeasurementLevel::Nominal;
  }
  return type_ == Type::Number ? MeasurementLevel::Unknown : MeasurementLevel::Interval;
}

// The labels of categories and of values declared missing.
ValueLabels FileColumn::Labels(const TableSchema& schema) const {
  ValueLabels labels;
  for (const auto* list : {&field_->categories, &field_->missing}) {
    for (const SchemaCategory& category : *list) {
      const DataValue value = ValueOf(category, schema);
      if (!category.label) continue;
      if (!labels.emplace(value, *category.label).second) {
        schema.Fail(category.position, "second label for the same value");
      }
    }
  }
  return labels;
}

MissingValues FileColumn::DeclaredMissing(const TableSchema& schema) const {
  MissingValues missing;
  for (const SchemaCategory& each : field_->missing) {
    missing.values.push_back(ValueOf(each, schema));
  }
  return missing;
}

// The value of a category, converted to the type of this column.
DataValue FileColumn::ValueOf(const SchemaCategory& category, const TableSchema& schema) const {
  const auto* number = std::get_if<double>(&category.value);
  const auto* text = std::get_if<std::string>(&category.value);
  if (type_ == Type::Text) return text != nullptr ? *text : ShortestText(*number);
  if (number != nullptr) return *number;
  const std::optional<double> read = ParseAsColumn(*text);
  if (!read || std::isnan(*read)) {
    schema.Fail(category.position, Quoted(*text) + " is not a number, but the column is numeric");
  }
  return *read;
}

std::optional<double> FileColumn::ParseAsColumn(std::string_view text) const {
  if (rules_.IsFixed()) return rules_.field->Parse(text, rules_.decimalMark);
  switch (type_) {
    case Type::Boolean: {
      const std::optional<bool> value = ParseBoolean(text);
      return value ? std::optional(*value ? 1.0 : 0.0) : std::nullopt;
    }
    case Type::Date:
      return ParseDate(text);
    case Type::DateTime:
      return ParseDateTime(text);
    default:
      return ParseNumber(text, {&rules_.decimalMark, 1});
  }
}

std::string Quoted(std::string_view text) {
  return "'" + Shown(text) + "'";
}

}  // namespace sdm_internal
