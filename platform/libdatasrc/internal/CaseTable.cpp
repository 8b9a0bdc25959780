// Lays out rows and converts values whose type was changed.

#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/ORVX_DataSource.h>

namespace sdm_internal {

namespace {

void WriteNumber(const CaseColumn& column, std::size_t row, OBS* cell) {
  const auto* const numbers = std::get_if<NumberColumn>(&column);
  cell->number =
      numbers != nullptr ? (*numbers)[row] : NumberOrMissing(std::get<TextColumn>(column)[row]);
}

void WriteString(const CaseColumn& column, std::size_t row, int width, OBS* cells) {
  if (const auto* const numbers = std::get_if<NumberColumn>(&column)) {
    WriteNumberAsText((*numbers)[row], width, cells);
  } else {
    WriteText(std::get<TextColumn>(column)[row], width, cells);
  }
}

}  // namespace

const CaseColumn* CaseTable::Find(LocallyUniqueID id) const {
  const auto found = columns_.find(id);
  return found == columns_.end() ? nullptr : &found->second;
}

CaseIterator::CaseIterator(std::shared_ptr<const CaseTable> table,
                           const ORVX_DataSource& dictionary, OBS* area)
    : table_(std::move(table)) {
  for (int i = 0; i < dictionary.ColumnCount(); ++i) {
    const ORVX_Variable& variable = dictionary.GetVariable(i);
    targets_.push_back({table_->Find(variable.GetID()), variable.GetType(), area});
    area += ObsCells(variable.GetType());
  }
}

bool CaseIterator::Next() {
  if (row_ == table_->RowCount()) return false;
  for (const auto& [column, type, cell] : targets_) {
    if (column == nullptr) {
      WriteMissing(type, cell);
    } else if (type == 0) {
      WriteNumber(*column, row_, cell);
    } else {
      WriteString(*column, row_, type, cell);
    }
  }
  ++row_;
  return true;
}

}  // namespace sdm_internal
