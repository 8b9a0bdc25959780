// MemoryDataSource: a dictionary with cases in memory, which can be edited.
//
//   MemoryDataSource towns;
//   towns.InsertVariable(0, ORVX_Variable(ORVX_Variable::NextID(), "town", 12), {"Graz", "Ulm"});
//   towns.InsertVariable(1, ORVX_Variable(ORVX_Variable::NextID(), "people"), {298000, 128000});
//   towns.AppendCase({"Linz", 211000.0});
//   towns.SetValue(1, 1, 129000.0);          // case 1, variable 1: people of Ulm
//   towns.DeleteCases(0, 0);
//   const DataValue town = towns.GetValue(0, 0);  // "Ulm"

#ifndef LIBDATASRC_MEMORYDATASOURCE_H_
#define LIBDATASRC_MEMORYDATASOURCE_H_

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/Export.h>

#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace sdm_internal {
class CaseTable;
}

// The values of one variable: all numbers, or all strings. Made implicitly from a vector or from
// braces, such as {1.5, 2} and {"a", "b"}. Can be moved, not copied.
//
// Threads: a plain value; any thread may use its own.
class ColumnValues {
 public:
  ColumnValues(std::vector<double> numbers) : values_(std::move(numbers)) {}
  ColumnValues(std::vector<std::string> strings) : values_(std::move(strings)) {}
  ColumnValues(std::initializer_list<double> numbers) : values_(std::vector<double>(numbers)) {}
  ColumnValues(std::initializer_list<std::string_view> strings)
      : values_(std::vector<std::string>(strings.begin(), strings.end())) {}
  ColumnValues(ColumnValues&&) = default;
  ColumnValues& operator=(ColumnValues&&) = default;

  // Null if the values are strings.
  std::vector<double>* Numbers() { return std::get_if<std::vector<double>>(&values_); }
  // Null if the values are numbers.
  const std::vector<std::string>* Strings() const {
    return std::get_if<std::vector<std::string>>(&values_);
  }

 private:
  std::variant<std::vector<double>, std::vector<std::string>> values_;
};

// Cases and variables are counted from 0. Values are stored by the identifier of the variable, so
// the operations of ORVX_DataSource edit the dictionary without changing values: a variable keeps
// its values when it is renamed, or deleted and inserted elsewhere. A variable without values reads
// as missing. After SetType, values are converted while they are read, as ObsProjector.h defines;
// the stored values stay, and reappear if the former type is set again. Variables that share an
// identifier share their values.
//
// A value is a number for a numeric variable, otherwise a string. A missing number is
// kMissingNumber, but any other NaN also counts as missing. A missing string is empty. Trailing
// blanks of a string are padding and are not stored. Strings are UTF-8; the bytes are not checked.
//
// All operations that take values throw std::invalid_argument for a value of the wrong kind or for
// the wrong number of values. They throw std::length_error, with the variable and its width, for a
// string that is longer than this width; strings are never cut. A position outside the cases or the
// dictionary throws std::out_of_range. An operation that throws, std::bad_alloc included, has
// changed nothing. After SetType has made a numeric variable a string, or a string variable
// numeric, storing the first value converts all values of the variable, as Retype does.
//
// Like the operations of ORVX_DataSource, editing does not set the dirty flag.
//
// Memory and time: a number takes 8 bytes, a string 8 bytes and its text. Iterators and copies
// share the columns. The first change of a shared column copies that column; other columns stay
// shared. Setting a value and appending a case take constant time for each value. Inserting and
// deleting cases take time proportional to the number of cases after them.
//
// To edit the cases of a dataset of the registry, use ServerDataManager/EditCases.h: clients then
// read the cases again.
//
// Threads: as for ORVX_DataSource: one writer or several readers. Iterators and copies may be used
// on other threads while this source is changed.
class SDM_EXPORT MemoryDataSource : public ORVX_DataSource {
 public:
  // Creates a source without variables and cases.
  MemoryDataSource();
  ~MemoryDataSource() override;

  // A copy of the dictionary and the cases of `source`, with the same identifiers. The copy has no
  // parent and is not dirty. If `source` is a MemoryDataSource, the copy shares its columns and
  // costs no more than a copy of the dictionary. If `source` is a clone that passes on the rows of
  // a MemoryDataSource with all variables of the clone and with the same types, the copy shares the
  // columns of that MemoryDataSource.
  //
  // For any other source, reads the cases. Exceptions of the iterator then propagate; throws
  // std::invalid_argument if GetObsAreaSize() of `source` is not the number of cells in a row of
  // its RowLayout().
  static std::unique_ptr<MemoryDataSource> CopyOf(const ORVX_DataSource& source);

  // The iterator reads the values as they are at this call, even after the source is edited or
  // destroyed.
  ObsIterator* MakeIterator(OBS* area) const override;
  long long RowCount() const override;  // always known

  // --- variables with values ---

  using ORVX_DataSource::InsertVariable;

  // Inserts the variable as ORVX_DataSource does, with one value for each case. If there are no
  // cases, adds one case for each value, in which the other variables are missing. Throws
  // std::invalid_argument if the dictionary has the identifier already.
  void InsertVariable(long position, const ORVX_Variable& variable, ColumnValues values);

  // Sets the type of the variable and converts its stored values for good. The values then read the
  // same as after SetType.
  void Retype(int position, int type);

  // Frees the values of variables that are not in the dictionary.
  void DropUnusedValues();

  // --- values ---

  // The value as an iterator reads it, without trailing blanks.
  DataValue GetValue(long long row, int position) const;

  void SetValue(long long row, int position, const DataValue& value);

  // Replaces the values of the variable: one for each case. If there are no cases, adds one case
  // for each value, as InsertVariable does.
  void SetColumn(int position, ColumnValues values);

  // SetCase, AppendCase and InsertCases take one value for each variable of each case, in the order
  // of the dictionary. They throw std::logic_error if variables share an identifier.
  void SetCase(long long row, std::span<const DataValue> values);

  // --- cases ---

  void AppendCase(std::span<const DataValue> values);
  void AppendCase(std::initializer_list<DataValue> values);

  // Inserts cases before the case `row`; if `row` is RowCount(), appends them.
  void InsertCases(long long row, std::span<const std::vector<DataValue>> cases);
  // Like InsertCases, for `count` cases in which every value is missing. Throws std::length_error
  // for a negative or impossibly large count.
  void InsertMissingCases(long long row, long long count);

  // Deletes the cases from `first` to `last`, inclusive. An empty range (last == first - 1) changes
  // nothing. Any other range outside the cases throws std::out_of_range.
  void DeleteCases(long long first, long long last);

 protected:
  SDM_HIDDEN explicit MemoryDataSource(sdm_internal::CaseTable cases);

 private:
  std::unique_ptr<sdm_internal::CaseTable> cases_;  // never null
};

#endif  // LIBDATASRC_MEMORYDATASOURCE_H_
