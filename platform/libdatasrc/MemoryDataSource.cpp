#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/MemoryDataSource.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ObsProjector.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

using namespace sdm_internal;

namespace {

std::string Named(const ORVX_Variable& variable) {
  return "variable \"" + variable.GetName() + "\"";
}

// Returns the text that is stored for a string. Throws if the text exceeds the variable's width.
std::string_view CheckedText(const char* operation, const ORVX_Variable& variable,
                             std::string_view string) {
  const std::string_view text = WithoutPadding(string);
  const auto width = static_cast<std::size_t>(variable.GetType());
  if (text.size() > std::min(width, TextColumn::kMaxTextBytes)) {
    throw std::length_error(std::string(operation) + ": a string of " +
                            std::to_string(text.size()) + " bytes, but " + Named(variable) +
                            " has a width of " + std::to_string(width) + " bytes");
  }
  return text;
}

void CheckKind(const char* operation, const ORVX_Variable& variable, bool isNumber) {
  const bool isNumeric = variable.GetType() == 0;
  if (isNumber == isNumeric) return;
  throw std::invalid_argument(std::string(operation) + ": a " + (isNumber ? "number" : "string") +
                              ", but " + Named(variable) + " is " +
                              (isNumeric ? "numeric" : "a string"));
}

// Throws if the variable cannot have this value. Returns the size of its text in bytes, 0 for a
// number.
std::size_t CheckValue(const char* operation, const ORVX_Variable& variable,
                       const DataValue& value) {
  const auto* const string = std::get_if<std::string>(&value);
  CheckKind(operation, variable, string == nullptr);
  return string != nullptr ? CheckedText(operation, variable, *string).size() : 0;
}

CaseColumn MakeColumn(const char* operation, const ORVX_Variable& variable, ColumnValues& values) {
  CheckKind(operation, variable, values.Numbers() != nullptr);
  if (values.Numbers() != nullptr) return std::move(*values.Numbers());
  TextColumn column;
  for (const std::string& string : *values.Strings()) {
    column.Add(CheckedText(operation, variable, string));
  }
  return column;
}

std::size_t SizeOf(ColumnValues& values) {
  return values.Numbers() != nullptr ? values.Numbers()->size() : values.Strings()->size();
}

// CheckValue must have accepted the value, and CaseTable::Edit must have prepared the column.
void Store(CaseColumn& column, std::size_t row, const DataValue& value) noexcept {
  if (auto* const numbers = std::get_if<NumberColumn>(&column)) {
    (*numbers)[row] = std::get<double>(value);
  } else {
    std::get<TextColumn>(column).Set(row, WithoutPadding(std::get<std::string>(value)));
  }
}

[[noreturn]] void ThrowWrongCase(const char* operation, long long row, std::size_t rows) {
  throw std::out_of_range(std::string(operation) + ": case " + std::to_string(row) + " of " +
                          std::to_string(rows));
}

[[noreturn]] void ThrowWrongCount(const char* operation, std::size_t count, std::size_t expected,
                                  const char* what) {
  throw std::invalid_argument(std::string(operation) + ": " + std::to_string(count) +
                              " values, but " + std::to_string(expected) + " " + what);
}

// Throws unless `row` is the index of a case.
std::size_t CheckedRow(const char* operation, long long row, std::size_t rows) {
  if (row < 0 || static_cast<std::size_t>(row) >= rows) ThrowWrongCase(operation, row, rows);
  return static_cast<std::size_t>(row);
}

// Throws unless `row` is the index of a case or the number of cases.
std::size_t CheckedPlace(const char* operation, long long row, std::size_t rows) {
  if (row < 0 || static_cast<std::size_t>(row) > rows) ThrowWrongCase(operation, row, rows);
  return static_cast<std::size_t>(row);
}

// Throws unless there is one value for each variable.
void CheckCase(const char* operation, const ORVX_DataSource& dictionary,
               std::span<const DataValue> values) {
  const auto count = static_cast<std::size_t>(dictionary.ColumnCount());
  if (values.size() != count) ThrowWrongCount(operation, values.size(), count, "variables");
}

void CheckIdentifiers(const char* operation, const ORVX_DataSource& dictionary) {
  if (dictionary.HasUniqueIDs()) return;
  throw std::logic_error(std::string(operation) + ": variables share an identifier");
}

using Cases = std::span<const std::span<const DataValue>>;

// Checks the values, and prepares the column of each variable for these values and for `moreRows`
// additional rows.
std::vector<CaseColumn*> PrepareColumns(const char* operation, const ORVX_DataSource& dictionary,
                                        Cases cases, std::size_t moreRows, CaseTable::Edit& edit) {
  CheckIdentifiers(operation, dictionary);
  for (const auto& values : cases) CheckCase(operation, dictionary, values);
  std::vector<CaseColumn*> columns;
  columns.reserve(static_cast<std::size_t>(dictionary.ColumnCount()));
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    const ORVX_Variable& variable = dictionary.GetVariable(position);
    std::size_t bytes = 0;
    for (const auto& values : cases) {
      bytes += CheckValue(operation, variable, values[static_cast<std::size_t>(position)]);
    }
    columns.push_back(edit.Own(variable.GetID(), variable.GetType(), moreRows, bytes));
  }
  return columns;
}

void StoreCase(const std::vector<CaseColumn*>& columns, std::size_t row,
               std::span<const DataValue> values) noexcept {
  for (std::size_t i = 0; i < columns.size(); ++i) Store(*columns[i], row, values[i]);
}

void InsertInto(const char* operation, CaseTable& table, const ORVX_DataSource& dictionary,
                std::size_t row, Cases cases) {
  CaseTable::Edit edit(table);
  const auto columns = PrepareColumns(operation, dictionary, cases, cases.size(), edit);
  edit.OwnOthers([&](LocallyUniqueID id) { return dictionary.ContainsVariable(id); }, cases.size());
  edit.Commit();
  edit.InsertRows(row, cases.size());
  for (const auto& values : cases) StoreCase(columns, row++, values);
}

// Prepares a new column with the values of one variable. Returns the number of values. If the table
// already has cases, throws unless there is one value for each case.
std::size_t PrepareColumn(const char* operation, const ORVX_Variable& variable,
                          ColumnValues& values, const CaseTable& table, CaseTable::Edit& edit) {
  const std::size_t count = SizeOf(values);
  const std::size_t rows = table.RowCount();
  if (rows > 0 && count != rows) ThrowWrongCount(operation, count, rows, "cases");
  edit.Replace(variable.GetID(), MakeColumn(operation, variable, values));
  return count;
}

// Calls the const GetVariable, which does not count as a write of the dictionary.
const ORVX_Variable& ReadVariable(const ORVX_DataSource& source, int position) {
  return source.GetVariable(position);
}

CaseColumn EmptyColumn(const ORVX_Variable& variable) {
  return variable.GetType() == 0 ? CaseColumn(NumberColumn()) : CaseColumn(TextColumn());
}

void AddValue(CaseColumn& column, const OBS* cells, int type) {
  if (auto* const numbers = std::get_if<NumberColumn>(&column)) {
    numbers->push_back(cells->number);
  } else {
    std::get<TextColumn>(column).Add(WithoutPadding({cells->text, static_cast<std::size_t>(type)}));
  }
}

// Reads all cases, with the types of the source's own dictionary.
CaseTable ReadCases(const ORVX_DataSource& source) {
  const ObsProjector projector(source, source);
  std::vector<OBS> row = RowArea(source, projector);
  std::vector<OBS> area(static_cast<std::size_t>(projector.GetToAreaSize()));
  const std::unique_ptr<ObsIterator> rows(source.MakeIterator(row.data()));

  std::vector<CaseColumn> columns;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    columns.push_back(EmptyColumn(source.GetVariable(i)));
  }
  std::size_t count = 0;
  for (; rows->Next(); ++count) {
    projector.Project(row.data(), area.data());
    const OBS* cells = area.data();
    for (int i = 0; i < source.ColumnCount(); ++i) {
      const int type = source.GetVariable(i).GetType();
      AddValue(columns[static_cast<std::size_t>(i)], cells, type);
      cells += ObsCells(type);
    }
  }

  CaseTable table;
  table.SetRowCount(count);
  // Backwards, because Add replaces a column with the same identifier: if variables share an
  // identifier, the values of the first variable are kept.
  for (int i = source.ColumnCount() - 1; i >= 0; --i) {
    table.Add(source.GetVariable(i).GetID(), std::move(columns[static_cast<std::size_t>(i)]));
  }
  return table;
}

}  // namespace

MemoryDataSource::MemoryDataSource() : MemoryDataSource(CaseTable()) {}

MemoryDataSource::MemoryDataSource(CaseTable cases)
    : cases_(std::make_unique<CaseTable>(std::move(cases))) {}

MemoryDataSource::~MemoryDataSource() = default;

namespace {

// Returns the source whose columns a copy of `source` can share: `source` itself, or the source
// whose rows `source` passes on. Returns null if that source is not a MemoryDataSource, lacks a
// variable of `source`, or has such a variable with another type.
const MemoryDataSource* OwnerOfCases(const ORVX_DataSource& source) {
  const auto* const owner = dynamic_cast<const MemoryDataSource*>(source.RowLayout());
  if (owner == nullptr || owner == &source) return owner;
  for (int i = 0; i < source.ColumnCount(); ++i) {
    const ORVX_Variable& variable = source.GetVariable(i);
    const int position = owner->FindVarIndex(variable.GetID());
    if (position < 0 || owner->GetVariable(position).GetType() != variable.GetType()) {
      return nullptr;
    }
  }
  return owner;
}

}  // namespace

std::unique_ptr<MemoryDataSource> MemoryDataSource::CopyOf(const ORVX_DataSource& source) {
  const MemoryDataSource* const memory = OwnerOfCases(source);
  std::unique_ptr<MemoryDataSource> copy(
      new MemoryDataSource(memory != nullptr ? *memory->cases_ : ReadCases(source)));
  copy->CopyDictionary(&source);
  return copy;
}

ObsIterator* MemoryDataSource::MakeIterator(OBS* area) const {
  return new CaseIterator(*cases_, *this, area);
}

long long MemoryDataSource::RowCount() const {
  return static_cast<long long>(cases_->RowCount());
}

void MemoryDataSource::InsertVariable(long position, const ORVX_Variable& variable,
                                      ColumnValues values) {
  if (ContainsVariable(variable.GetID())) {
    throw std::invalid_argument("InsertVariable: the dictionary already has the identifier " +
                                variable.GetID().ToString());
  }
  CaseTable::Edit edit(*cases_);
  const std::size_t count = PrepareColumn("InsertVariable", variable, values, *cases_, edit);
  InsertVariable(position, variable);
  edit.CommitWithRows(count);
}

void MemoryDataSource::Retype(int position, int type) {
  ORVX_Variable variable = GetVariable(position);
  variable.SetType(type);
  CaseTable::Edit edit(*cases_);
  const CaseColumn* const column = cases_->Find(variable.GetID());
  if (column != nullptr) {
    edit.Replace(variable.GetID(), Converted(column, type, cases_->RowCount()));
  }
  GetVariable(position) = variable;
  edit.Commit();
}

void MemoryDataSource::DropUnusedValues() {
  cases_->KeepIf([this](LocallyUniqueID id) { return ContainsVariable(id); });
}

DataValue MemoryDataSource::GetValue(long long row, int position) const {
  const ORVX_Variable& variable = GetVariable(position);
  const std::size_t index = CheckedRow("GetValue", row, cases_->RowCount());
  return ValueAt(cases_->Find(variable.GetID()), variable.GetType(), index);
}

void MemoryDataSource::SetValue(long long row, int position, const DataValue& value) {
  const ORVX_Variable& variable = ReadVariable(*this, position);
  const std::size_t index = CheckedRow("SetValue", row, cases_->RowCount());
  const std::size_t bytes = CheckValue("SetValue", variable, value);
  CaseTable::Edit edit(*cases_);
  CaseColumn* const column = edit.Own(variable.GetID(), variable.GetType(), 0, bytes);
  edit.Commit();
  Store(*column, index, value);
}

void MemoryDataSource::SetColumn(int position, ColumnValues values) {
  const ORVX_Variable& variable = ReadVariable(*this, position);
  CaseTable::Edit edit(*cases_);
  const std::size_t count = PrepareColumn("SetColumn", variable, values, *cases_, edit);
  edit.CommitWithRows(count);
}

void MemoryDataSource::SetCase(long long row, std::span<const DataValue> values) {
  const std::size_t index = CheckedRow("SetCase", row, cases_->RowCount());
  CaseTable::Edit edit(*cases_);
  const auto columns = PrepareColumns("SetCase", *this, {&values, 1}, 0, edit);
  edit.Commit();
  StoreCase(columns, index, values);
}

void MemoryDataSource::AppendCase(std::span<const DataValue> values) {
  InsertInto("AppendCase", *cases_, *this, cases_->RowCount(), {&values, 1});
}

void MemoryDataSource::AppendCase(std::initializer_list<DataValue> values) {
  AppendCase(std::span(values.begin(), values.size()));
}

void MemoryDataSource::InsertCases(long long row, std::span<const std::vector<DataValue>> cases) {
  const std::size_t place = CheckedPlace("InsertCases", row, cases_->RowCount());
  const std::vector<std::span<const DataValue>> values(cases.begin(), cases.end());
  InsertInto("InsertCases", *cases_, *this, place, values);
}

void MemoryDataSource::InsertMissingCases(long long row, long long count) {
  const std::size_t place = CheckedPlace("InsertMissingCases", row, cases_->RowCount());
  if (count < 0 || count > std::numeric_limits<long long>::max() - RowCount()) {
    throw std::length_error("InsertMissingCases: " + std::to_string(count) + " cases");
  }
  CaseTable::Edit edit(*cases_);
  edit.OwnAll(static_cast<std::size_t>(count));
  edit.Commit();
  edit.InsertRows(place, static_cast<std::size_t>(count));
}

void MemoryDataSource::DeleteCases(long long first, long long last) {
  const std::size_t begin = CheckedPlace("DeleteCases", first, cases_->RowCount());
  if (last < first - 1 || last >= RowCount())
    ThrowWrongCase("DeleteCases", last, cases_->RowCount());
  if (last < first) return;
  CaseTable::Edit edit(*cases_);
  edit.OwnAll(0);
  edit.Commit();
  edit.EraseRows(begin, static_cast<std::size_t>(last - first + 1));
}
