// Laying out the cells of a row, with the conversions that a changed type asks for.

#include <libdatasrc/internal/CaseTable.h>
#include <libdatasrc/internal/NumberText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/Utf8.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>

namespace {

double NumberAt(const CaseColumn& column, std::size_t row) {
  if (const auto* numbers = std::get_if<NumberColumn>(&column)) return (*numbers)[row];
  return NumberIn(std::get<TextColumn>(column)[row]).value_or(kSystemMissing);
}

// A number that is cut would be another number, so one that does not fit is missing.
std::string NumberAsText(double number, std::size_t width) {
  if (number == kSystemMissing) return {};
  std::string text = ShortestText(number);
  return text.size() <= width ? text : std::string();
}

// Copies the text to `to` and returns where it ends.
char* CopyText(const CaseColumn& column, std::size_t row, std::size_t width, char* to) {
  if (const auto* numbers = std::get_if<NumberColumn>(&column)) {
    const std::string text = NumberAsText((*numbers)[row], width);
    return std::copy(text.begin(), text.end(), to);
  }
  const std::string_view text = CutUtf8(std::get<TextColumn>(column)[row], width);
  return std::copy(text.begin(), text.end(), to);
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
    if (type == 0) {
      cell->number = column != nullptr ? NumberAt(*column, row_) : kSystemMissing;
      continue;
    }
    char* const text = cell->text;
    char* const end = text + ObsCells(type) * static_cast<long>(sizeof(OBS));
    const auto width = static_cast<std::size_t>(type);
    std::fill(column != nullptr ? CopyText(*column, row_, width, text) : text, end, ' ');
  }
  ++row_;
  return true;
}
