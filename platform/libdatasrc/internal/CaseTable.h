// CaseTable: cases in memory, column by column.

#ifndef LIBDATASRC_INTERNAL_CASETABLE_H_
#define LIBDATASRC_INTERNAL_CASETABLE_H_

#include <libdatasrc/internal/TextColumn.h>
#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <libdatasrc/ORVX_Variable.h>
#include <libdatastr/ORVX_RefCntObject.h>
#include <ServerDataManager/LocallyUniqueID.h>
#include <ServerDataManager/RefCountPtr.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

class ORVX_DataSource;

namespace sdm_internal {

// A missing value is kMissingNumber.
using NumberColumn = std::vector<double>;

using CaseColumn = std::variant<NumberColumn, TextColumn>;

// Columns of equal length, each under the identifier of a variable. Copies and iterators of a table
// share its columns. A shared column is copied before it is changed.
//
// Threads: one writer or several readers. Copies and iterators may be used and destroyed on other
// threads at the same time.
class CaseTable {
 public:
  class Edit;

  // Adds a column, or replaces the column under `id`. Each column must have as many values as
  // SetRowCount sets.
  void Add(LocallyUniqueID id, CaseColumn column);
  void SetRowCount(std::size_t rows) { rows_ = rows; }

  std::size_t RowCount() const { return rows_; }
  // Null if the table has no values for `id`: all values are then missing. Borrowed until the table
  // changes.
  const CaseColumn* Find(LocallyUniqueID id) const;

  // Removes the columns whose identifiers `isUsed` rejects.
  void KeepIf(const std::function<bool(LocallyUniqueID)>& isUsed);

 private:
  friend class CaseIterator;

  struct SharedColumn : ORVX_RefCntObject {
    explicit SharedColumn(CaseColumn column) : values(std::move(column)) {}
    CaseColumn values;
  };
  using ColumnPtr = RefCountPtr<SharedColumn>;

  const ColumnPtr* FindShared(LocallyUniqueID id) const;

  std::unordered_map<LocallyUniqueID, ColumnPtr> columns_;  // null: all values are missing
  std::size_t rows_ = 0;
};

// The column with its values converted to `type`: 0 for a number, otherwise the width of a string.
// `column` is null if all `rows` values are missing.
CaseColumn Converted(const CaseColumn* column, int type, std::size_t rows);

// The value in `row`, converted to `type`. `column` is null if all values are missing.
DataValue ValueAt(const CaseColumn* column, int type, std::size_t row);

// Changes columns of a table: either all changes take effect or none. First prepare the columns
// with Own, OwnAll, OwnOthers and Replace; these may throw, and change no value. Then call Commit
// or CommitWithRows. Commits, and the operations after a commit, do not throw.
class CaseTable::Edit {
 public:
  explicit Edit(CaseTable& table) : table_(table) {}
  Edit(const Edit&) = delete;
  Edit& operator=(const Edit&) = delete;

  // Prepares the column for a variable of this type, with room for `moreRows` additional rows and
  // `moreBytes` additional bytes of text.
  // Converts numbers to texts for a string variable, and texts to numbers for a numeric variable.
  // Call Own at most once for each column. The returned column may be changed after Commit.
  CaseColumn* Own(LocallyUniqueID id, int type, std::size_t moreRows, std::size_t moreBytes);
  // OwnAll prepares all columns. OwnOthers prepares only the columns for which `isOwned` returns
  // false. Both make room for `moreRows` additional rows.
  void OwnAll(std::size_t moreRows);
  void OwnOthers(const std::function<bool(LocallyUniqueID)>& isOwned, std::size_t moreRows);
  void Replace(LocallyUniqueID id, CaseColumn column);

  void Commit() noexcept;
  // Commits an edit that has prepared columns with Replace only. If the table had no rows, it then
  // has `rows` rows, and all values of columns that were not prepared are missing.
  void CommitWithRows(std::size_t rows) noexcept;

  // Call these after Commit, and only with every column prepared; for InsertRows, with room for
  // `count` additional rows. Inserted values are missing.
  void InsertRows(std::size_t row, std::size_t count) noexcept;
  void EraseRows(std::size_t row, std::size_t count) noexcept;

 private:
  CaseColumn* Own(ColumnPtr& column, std::size_t moreRows, std::size_t moreBytes);
  CaseColumn* Put(ColumnPtr& column, CaseColumn values);

  CaseTable& table_;
  std::vector<std::pair<ColumnPtr*, ColumnPtr>> fresh_;  // pointer in the table, and new column
};

// Reads a table row by row into `area`, which the iterator borrows. Rows have the layout that
// `dictionary` has when the iterator is created. Shares the columns, and keeps no reference to the
// table or the dictionary. If Next throws, no row is lost: the next call continues with the row
// that the failed call should have returned.
//
// Lays out a block of rows together, because it is faster to read a few columns at a time than to
// read each row from all columns. Each call of Next lays out a part of the next block, so that the
// processor can do this work while the caller uses the current row.
class CaseIterator : public ObsIterator {
 public:
  CaseIterator(const CaseTable& table, const ORVX_DataSource& dictionary, OBS* area);
  bool Next() override;

 private:
  // Columns of numbers whose cells are adjacent in a row.
  struct NumberGroup {
    std::array<const double*, 8> columns;  // 8 cells fill a cache line
    std::size_t count;
    std::size_t cell;  // the offset of the first cell in a row
  };
  struct Target {
    const CaseColumn* column;  // null: all values are missing
    int type;
    std::size_t cell;  // the offset of the first cell of the value
  };

  void AddNumbers(const double* numbers);
  bool StartBlock();
  // The number of rows in the next block.
  std::size_t NextRows() const { return std::min(blockRows_, rowCount_ - row_); }
  void WriteGroups(std::size_t count);
  void WriteOthers(const Target& target, std::size_t rows);

  std::vector<CaseTable::ColumnPtr> columns_;  // keeps the columns alive
  const std::size_t rowCount_;
  OBS* const area_;
  std::size_t width_ = 0;  // cells in a row
  std::vector<NumberGroup> groups_;
  std::vector<Target> others_;  // the columns in no group
  std::size_t blockRows_;       // rows in a block, at most
  std::size_t groupsPerRow_;    // how many groups of the next block each call of Next writes
  std::vector<OBS> block_;
  const OBS* next_ = nullptr;  // the next row in `block_`
  std::size_t rowsLeft_ = 0;   // in `block_`
  std::vector<OBS> nextBlock_;
  std::size_t row_ = 0;  // the first row of the next block
  std::size_t groupsWritten_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_CASETABLE_H_
