// Rows of cells, taken apart by the dictionary.

#include "CaseRows.h"

#include "BlankCases.h"
#include "Interrupt.h"

#include <libdatasrc/ORVX_DataSource.h>

namespace sdmsh {
namespace {

DataValue ValueIn(const OBS* cells, int type) {
  if (type == 0) return cells->number;
  const std::string_view text(cells->text, static_cast<std::size_t>(type));
  return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

std::vector<OBS> Area(long cellCount) {
  return std::vector<OBS>(static_cast<std::size_t>(cellCount));
}

}  // namespace

CaseRows::CaseRows(const ORVX_DataSource& source)
    : source_(source),
      projector_(source, source),
      layoutArea_(Area(projector_.GetFromAreaSize())),
      area_(Area(projector_.GetToAreaSize())),
      rows_(source.MakeIterator(layoutArea_.data())) {}

bool CaseRows::Next() {
  GiveUpIfInterrupted();
  if (!rows_->Next()) return false;
  projector_.Project(layoutArea_.data(), area_.data());
  return true;
}

std::vector<DataValue> CaseRows::Values() const {
  std::vector<DataValue> values;
  const OBS* cells = area_.data();
  for (int position = 0; position < source_.ColumnCount(); ++position) {
    const ORVX_Variable& variable = source_.GetVariable(position);
    values.push_back(ValueIn(cells, variable.GetType()));
    cells += CellCount(variable);
  }
  return values;
}

}  // namespace sdmsh
