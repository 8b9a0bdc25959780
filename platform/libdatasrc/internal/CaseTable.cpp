// Lays out rows and converts values whose type was changed.

#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
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
