// Lays out rows and converts values whose type was changed.

#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/Utf8.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <array>

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
      converted.Add(CutUtf8((*texts)[row], static_cast<std::size_t>(type)));
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

// Copies the column before it becomes a variant: copying a variant whose column throws is undefined
// in libstdc++.
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

CaseIterator::CaseIterator(const CaseTable& table, const ORVX_DataSource& dictionary, OBS* area)
    : rowCount_(table.RowCount()), area_(area) {
  for (int i = 0; i < dictionary.ColumnCount(); ++i) {
    const ORVX_Variable& variable = dictionary.GetVariable(i);
    const CaseTable::ColumnPtr* const shared = table.FindShared(variable.GetID());
    if (shared != nullptr) columns_.push_back(*shared);
    const CaseColumn* const column = shared != nullptr ? &(*shared)->values : nullptr;
    const auto* const numbers = std::get_if<NumberColumn>(column);
    if (numbers != nullptr && variable.GetType() == 0) {
      numbers_.push_back({numbers->data(), width_});
    } else {
      others_.push_back({column, variable.GetType(), width_});
    }
    width_ += static_cast<std::size_t>(ObsCells(variable.GetType()));
  }
  constexpr std::size_t kBlockCells = 16384;  // 128 KB
  blockRows_ = std::clamp<std::size_t>(kBlockCells / std::max<std::size_t>(width_, 1), 1, 256);
  block_.resize(std::min(blockRows_, rowCount_) * width_);
}

bool CaseIterator::Next() {
  if (rowsLeft_ == 0 && !FillBlock()) return false;
  --rowsLeft_;
  std::copy_n(next_, width_, area_);
  next_ += width_;
  return true;
}

// Returns false after the last row.
bool CaseIterator::FillBlock() {
  const std::size_t rows = std::min(blockRows_, rowCount_ - row_);
  if (rows == 0) return false;
  WriteNumbers(rows);
  for (const Target& target : others_) WriteOthers(target, rows);
  next_ = block_.data();
  rowsLeft_ = rows;
  row_ += rows;
  return true;
}

// Eight columns at a time: adjacent cells are a cache line, and the hardware reads eight columns
// ahead.
void CaseIterator::WriteNumbers(std::size_t rows) {
  constexpr std::size_t kTogether = 8;
  std::size_t target = 0;
  for (; target + kTogether <= numbers_.size(); target += kTogether) {
    std::array<NumberTarget, kTogether> targets;
    std::copy_n(numbers_.begin() + static_cast<std::ptrdiff_t>(target), kTogether, targets.begin());
    OBS* cells = block_.data();
    for (std::size_t row = row_; row < row_ + rows; ++row, cells += width_) {
      for (const auto& [numbers, cell] : targets) cells[cell].number = numbers[row];
    }
  }
  for (; target < numbers_.size(); ++target) {
    const auto [numbers, cell] = numbers_[target];
    OBS* to = block_.data() + cell;
    for (std::size_t row = row_; row < row_ + rows; ++row, to += width_) to->number = numbers[row];
  }
}

void CaseIterator::WriteOthers(const Target& target, std::size_t rows) {
  const auto& [column, type, cell] = target;
  OBS* to = block_.data() + cell;
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
