#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/Utf8.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace sdm_internal {

namespace {

void WriteString(const CaseColumn& column, std::size_t row, int width, OBS* cells) {
  if (const auto* const numbers = std::get_if<NumberColumn>(&column)) {
    WriteNumberAsText((*numbers)[row], width, cells);
  } else {
    WriteText(std::get<TextColumn>(column)[row], width, cells);
  }
}

}  // namespace

void CaseTable::Add(LocallyUniqueID id, CaseColumn column) {
  columns_.insert_or_assign(id, ColumnPtr(new SharedColumn(std::move(column))));
}

const CaseTable::ColumnPtr* CaseTable::FindShared(LocallyUniqueID id) const {
  const auto found = columns_.find(id);
  return found != columns_.end() && found->second.IsValid() ? &found->second : nullptr;
}

const CaseColumn* CaseTable::Find(LocallyUniqueID id) const {
  const ColumnPtr* const column = FindShared(id);
  return column != nullptr ? &(*column)->values : nullptr;
}

void CaseTable::KeepIf(const std::function<bool(LocallyUniqueID)>& isUsed) {
  std::erase_if(columns_, [&](const auto& column) { return !isUsed(column.first); });
}

CaseColumn Converted(const CaseColumn* column, int type, std::size_t rows) {
  const auto* const numbers = std::get_if<NumberColumn>(column);
  const auto* const texts = std::get_if<TextColumn>(column);
  if (type == 0) {
    if (numbers != nullptr) return NumberColumn(*numbers);
    NumberColumn converted(rows, kMissingNumber);
    for (std::size_t row = 0; texts != nullptr && row < rows; ++row) {
      converted[row] = NumberOrMissing((*texts)[row]);
    }
    return converted;
  }
  TextColumn converted;
  converted.Reserve(rows, texts != nullptr ? texts->PoolBytes() : 0);
  if (column == nullptr) converted.Insert(0, rows);
  for (std::size_t row = converted.Size(); row < rows; ++row) {
    if (texts != nullptr) {
      converted.Add(WithoutPadding(CutUtf8((*texts)[row], static_cast<std::size_t>(type))));
    } else {
      converted.Add(NumberAsText((*numbers)[row], type));
    }
  }
  return converted;
}

DataValue ValueAt(const CaseColumn* column, int type, std::size_t row) {
  if (column == nullptr) return type == 0 ? DataValue(kMissingNumber) : DataValue(std::string());
  if (const auto* const numbers = std::get_if<NumberColumn>(column)) {
    if (type == 0) return (*numbers)[row];
    return NumberAsText((*numbers)[row], type);
  }
  const std::string_view text = std::get<TextColumn>(*column)[row];
  if (type == 0) return NumberOrMissing(text);
  return std::string(WithoutPadding(CutUtf8(text, static_cast<std::size_t>(type))));
}

namespace {

bool IsOfKind(const CaseColumn& column, int type) {
  return std::holds_alternative<NumberColumn>(column) == (type == 0);
}

void ReserveMore(CaseColumn& column, std::size_t rows, std::size_t bytes) {
  if (auto* const numbers = std::get_if<NumberColumn>(&column)) {
    Grow(*numbers, numbers->size() + rows);
  } else {
    std::get<TextColumn>(column).ReserveMore(rows, bytes);
  }
}

// Copies the NumberColumn or TextColumn and not the variant: the copy constructor of libstdc++'s
// variant has undefined behaviour if copying its content throws.
CaseColumn CopyOf(const CaseColumn& column) {
  if (const auto* const numbers = std::get_if<NumberColumn>(&column)) return NumberColumn(*numbers);
  return TextColumn(std::get<TextColumn>(column));
}

}  // namespace

CaseColumn* CaseTable::Edit::Own(LocallyUniqueID id, int type, std::size_t moreRows,
                                 std::size_t moreBytes) {
  ColumnPtr& column = table_.columns_.try_emplace(id, nullptr).first->second;
  const CaseColumn* const values = column.IsValid() ? &column->values : nullptr;
  if (values != nullptr && IsOfKind(*values, type)) return Own(column, moreRows, moreBytes);
  CaseColumn* const converted = Put(column, Converted(values, type, table_.rows_));
  ReserveMore(*converted, moreRows, moreBytes);
  return converted;
}

CaseColumn* CaseTable::Edit::Own(ColumnPtr& column, std::size_t moreRows, std::size_t moreBytes) {
  CaseColumn* const own =
      column->IsShared() ? Put(column, CopyOf(column->values)) : &column->values;
  ReserveMore(*own, moreRows, moreBytes);
  return own;
}

void CaseTable::Edit::OwnAll(std::size_t moreRows) {
  OwnOthers([](LocallyUniqueID) { return false; }, moreRows);
}

void CaseTable::Edit::OwnOthers(const std::function<bool(LocallyUniqueID)>& isOwned,
                                std::size_t moreRows) {
  for (auto& [id, column] : table_.columns_) {
    if (column.IsValid() && !isOwned(id)) Own(column, moreRows, 0);
  }
}

void CaseTable::Edit::Replace(LocallyUniqueID id, CaseColumn column) {
  Put(table_.columns_.try_emplace(id, nullptr).first->second, std::move(column));
}

CaseColumn* CaseTable::Edit::Put(ColumnPtr& column, CaseColumn values) {
  fresh_.emplace_back(&column, ColumnPtr(new SharedColumn(std::move(values))));
  return &fresh_.back().second->values;
}

void CaseTable::Edit::Commit() noexcept {
  for (auto& [place, column] : fresh_) place->Swap(column);
  fresh_.clear();
}

void CaseTable::Edit::CommitWithRows(std::size_t rows) noexcept {
  if (table_.rows_ == 0) {
    for (auto& [id, column] : table_.columns_) column = nullptr;
    table_.rows_ = rows;
  }
  Commit();
}

void CaseTable::Edit::InsertRows(std::size_t row, std::size_t count) noexcept {
  for (auto& [id, column] : table_.columns_) {
    if (!column.IsValid()) continue;
    if (auto* const numbers = std::get_if<NumberColumn>(&column->values)) {
      numbers->insert(numbers->begin() + static_cast<std::ptrdiff_t>(row), count, kMissingNumber);
    } else {
      std::get<TextColumn>(column->values).Insert(row, count);
    }
  }
  table_.rows_ += count;
}

void CaseTable::Edit::EraseRows(std::size_t row, std::size_t count) noexcept {
  for (auto& [id, column] : table_.columns_) {
    if (!column.IsValid()) continue;
    if (auto* const numbers = std::get_if<NumberColumn>(&column->values)) {
      const auto first = numbers->begin() + static_cast<std::ptrdiff_t>(row);
      numbers->erase(first, first + static_cast<std::ptrdiff_t>(count));
    } else {
      std::get<TextColumn>(column->values).Erase(row, count);
    }
  }
  table_.rows_ -= count;
}

namespace {

constexpr std::size_t kLineNumbers = 8;  // numbers in a cache line of 64 bytes
constexpr std::size_t kMostBlockRows = 16;

// Two adjacent numbers, for vector instructions.
using NumberPair = double __attribute__((vector_size(2 * sizeof(double))));

NumberPair LoadPair(const double* numbers) {
  NumberPair pair;
  std::memcpy(&pair, numbers, sizeof pair);
  return pair;
}

void StorePair(NumberPair pair, OBS* cells) {
  std::memcpy(cells, &pair, sizeof pair);
}

// Consecutive rows of adjacent columns of numbers, and the cells to which Write copies the numbers.
struct NumberRectangle {
  const double* const* columns;
  std::size_t firstRow;
  std::size_t rows;
  OBS* cells;         // in the first row
  std::size_t width;  // of a row, in cells
  // How many rows ahead to prefetch; 0 for none. With many columns, the processor does not prefetch
  // to the second-level cache by itself.
  std::size_t fetchedAhead;
};

// Writes the numbers to the cells; uses vector instructions if the number of columns is even.
template <std::size_t kColumns>
void Write(const NumberRectangle& part) {
  const auto [columns, firstRow, rows, cells, width, fetchedAhead] = part;
  std::array<const double*, kColumns> from;
  for (std::size_t i = 0; i < kColumns; ++i) from[i] = columns[i] + firstRow;
  OBS* to = cells;
  std::size_t row = 0;
  if constexpr (kColumns % 2 == 0) {
    for (; row + 2 <= rows; row += 2, to += 2 * width) {
      for (std::size_t i = 0; i < kColumns; i += 2) {
        const NumberPair left = LoadPair(from[i] + row);
        const NumberPair right = LoadPair(from[i + 1] + row);
        StorePair(__builtin_shufflevector(left, right, 0, 2), to + i);
        StorePair(__builtin_shufflevector(left, right, 1, 3), to + width + i);
      }
    }
  }
  for (; row < rows; ++row, to += width) {
    for (std::size_t i = 0; i < kColumns; ++i) to[i].number = from[i][row];
  }
  if (fetchedAhead == 0) return;
  for (const double* const column : from) {
    const double* const later = column + fetchedAhead;
    for (row = 0; row < kMostBlockRows; row += kLineNumbers) __builtin_prefetch(later + row, 0, 2);
  }
}

void Write(NumberRectangle part, std::size_t columns) {
  if (columns == kLineNumbers) {
    Write<kLineNumbers>(part);
    return;
  }
  for (; columns >= 2; columns -= 2) {
    Write<2>(part);
    part.columns += 2;
    part.cells += 2;
  }
  if (columns == 1) Write<1>(part);
}

}  // namespace

CaseIterator::CaseIterator(const CaseTable& table, const ORVX_DataSource& dictionary, OBS* area)
    : rowCount_(table.RowCount()), area_(area) {
  for (int i = 0; i < dictionary.ColumnCount(); ++i) {
    const ORVX_Variable& variable = dictionary.GetVariable(i);
    const CaseTable::ColumnPtr* const shared = table.FindShared(variable.GetID());
    if (shared != nullptr) columns_.push_back(*shared);
    const CaseColumn* const column = shared != nullptr ? &(*shared)->values : nullptr;
    const auto* const numbers = std::get_if<NumberColumn>(column);
    if (numbers != nullptr && variable.GetType() == 0) {
      AddNumbers(numbers->data());
    } else {
      others_.push_back({column, variable.GetType(), width_});
    }
    width_ += static_cast<std::size_t>(ObsCells(variable.GetType()));
  }
  constexpr std::size_t kMostCells = 262144;  // 2 MB
  blockRows_ =
      std::clamp<std::size_t>(kMostCells / std::max<std::size_t>(width_, 1), 1, kMostBlockRows);
  groupsPerRow_ = (groups_.size() + blockRows_ - 1) / blockRows_;
  block_.resize(NextRows() * width_);
  nextBlock_.resize(NextRows() * width_);
}

void CaseIterator::AddNumbers(const double* numbers) {
  const bool fits = !groups_.empty() && groups_.back().count < groups_.back().columns.size() &&
                    groups_.back().cell + groups_.back().count == width_;
  if (!fits) groups_.push_back({{}, 0, width_});
  NumberGroup& group = groups_.back();
  group.columns[group.count++] = numbers;
}

bool CaseIterator::Next() {
  if (rowsLeft_ == 0 && !StartBlock()) return false;
  --rowsLeft_;
  std::copy_n(next_, width_, area_);
  next_ += width_;
  if (NextRows() > 0) WriteGroups(groupsPerRow_);
  return true;
}

// Returns false after the last row.
bool CaseIterator::StartBlock() {
  const std::size_t rows = NextRows();
  if (rows == 0) return false;
  WriteGroups(groups_.size());
  for (const Target& target : others_) WriteOthers(target, rows);
  block_.swap(nextBlock_);
  next_ = block_.data();
  rowsLeft_ = rows;
  row_ += rows;
  groupsWritten_ = 0;
  return true;
}

// Writes up to `count` more groups to the next block.
void CaseIterator::WriteGroups(std::size_t count) {
  constexpr std::size_t kAhead = 4 * kMostBlockRows;
  const std::size_t ahead = row_ + kAhead + kMostBlockRows <= rowCount_ ? kAhead : 0;
  const std::size_t rows = NextRows();
  const std::size_t end = std::min(groupsWritten_ + count, groups_.size());
  for (; groupsWritten_ < end; ++groupsWritten_) {
    const NumberGroup& group = groups_[groupsWritten_];
    OBS* const cells = nextBlock_.data() + group.cell;
    Write({group.columns.data(), row_, rows, cells, width_, ahead}, group.count);
  }
}

void CaseIterator::WriteOthers(const Target& target, std::size_t rows) {
  const auto& [column, type, cell] = target;
  OBS* to = nextBlock_.data() + cell;
  for (std::size_t row = row_; row < row_ + rows; ++row, to += width_) {
    if (column == nullptr) {
      WriteMissing(type, to);
    } else if (type == 0) {
      to->number = NumberOrMissing(std::get<TextColumn>(*column)[row]);
    } else {
      WriteString(*column, row, type, to);
    }
  }
}

}  // namespace sdm_internal
