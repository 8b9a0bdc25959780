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
// dictionary.
class CaseIterator : public ObsIterator {
 public:
  CaseIterator(std::shared_ptr<const CaseTable> table, const ORVX_DataSource& dictionary,
               OBS* area);
  bool Next() override;

 private:
  struct Target {
    const CaseColumn* column;  // null: always missing
    int type;
    OBS* cell;  // the first cell of the value
  };

  std::shared_ptr<const CaseTable> table_;
  std::vector<Target> targets_;
  std::size_t row_ = 0;
};

}  // namespace sdm_internal

#endif  // LIBDATASRC_INTERNAL_CASETABLE_H_
