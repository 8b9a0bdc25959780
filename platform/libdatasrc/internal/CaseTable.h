// CaseTable: the cases of a data file, column by column.

#ifndef LIBDATASRC_INTERNAL_CASETABLE_H_
#define LIBDATASRC_INTERNAL_CASETABLE_H_

#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

class ORVX_DataSource;

namespace sdm_internal {

// A missing value is kMissingNumber.
using NumberColumn = std::vector<double>;

// Strings, concatenated. A missing value is empty.
class TextColumn {
 public:
  void Add(std::string_view text) {
    bytes_.append(text);
    ends_.push_back(bytes_.size());
  }
  std::string_view operator[](std::size_t row) const {
    const std::size_t begin = row > 0 ? ends_[row - 1] : 0;
    return std::string_view(bytes_).substr(begin, ends_[row] - begin);
  }

 private:
  std::string bytes_;
  std::vector<std::size_t> ends_;
};

using CaseColumn = std::variant<NumberColumn, TextColumn>;

// Columns as they were read, each under the identifier of its variable.
//
// Threads: any, after it is filled.
class CaseTable {
 public:
  // Each added column has as many values as the table has rows. SetRowCount sets that number.
  void Add(LocallyUniqueID id, CaseColumn column) { columns_.emplace(id, std::move(column)); }
  void SetRowCount(std::size_t rows) { rows_ = rows; }

  std::size_t RowCount() const { return rows_; }
  // Null if the table has no such variable.
  const CaseColumn* Find(LocallyUniqueID id) const;

 private:
  std::unordered_map<LocallyUniqueID, CaseColumn> columns_;
  std::size_t rows_ = 0;
};

// Reads a table row by row, laid out for `dictionary` as it is now. Keeps no reference to the
// dictionary. Lays out a block of rows together, because a few columns at a time are read faster
// than whole rows. If Next throws, the next call returns the same row.
class CaseIterator : public ObsIterator {
 public:
  CaseIterator(std::shared_ptr<const CaseTable> table, const ORVX_DataSource& dictionary,
               OBS* area);
  bool Next() override;

 private:
  // A column of numbers whose cell is a number.
  struct NumberTarget {
    const double* numbers;
    std::size_t cell;  // the offset in a row
  };
  struct Target {
    const CaseColumn* column;  // null: always missing
    int type;
    std::size_t cell;  // the offset of the first cell of the value
  };

  bool FillBlock();
  void WriteNumbers(std::size_t rows);
  void WriteOthers(const Target& target, std::size_t rows);

  const std::shared_ptr<const CaseTable> table_;
  OBS* const area_;
  std::size_t width_ = 0;              // cells in a row
  std::vector<NumberTarget> numbers_;  // in ascending order of cells
  std::vector<Target> others_;
  std::vector<OBS> block_;
  std::size_t blockRows_;      // at most
  const OBS* next_ = nullptr;  // in the block
  std::size_t rowsLeft_ = 0;   // in the block
  std::size_t row_ = 0;        // the first row after the block
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_CASETABLE_H_
