// Rows of cells, taken apart by the dictionary.

#include "CaseRows.h"

#include "BlankCases.h"
#include "Interrupt.h"

#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

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

const ORVX_DataSource* LayoutOf(const ORVX_DataSource& source) {
  const auto* const clone = dynamic_cast<const SvrDMCloneDataSource*>(&source);
  return clone != nullptr ? clone->RowLayout() : &source;
}

bool IsLaidOutByItself(const ORVX_DataSource& source) {
  const ORVX_DataSource* const layout = LayoutOf(source);
  if (layout == &source) return true;
  if (layout == nullptr || layout->ColumnCount() != source.ColumnCount()) return false;
  for (int position = 0; position < source.ColumnCount(); ++position) {
    const ORVX_Variable& here = source.GetVariable(position);
    const ORVX_Variable& there = layout->GetVariable(position);
    if (here.GetID() != there.GetID() || here.GetType() != there.GetType()) return false;
  }
  return true;
}

CaseRows::CaseRows(const ORVX_DataSource& source) : source_(source) {
  const ORVX_DataSource* const layout = LayoutOf(source);
  if (layout == nullptr) return;
  if (layout == &source) {
    area_ = Area(source.GetObsAreaSize());
    rows_.reset(source.MakeIterator(area_.data()));
    return;
  }
  projector_.emplace(*layout, source);
  layoutArea_ = Area(projector_->GetFromAreaSize());
  area_ = Area(projector_->GetToAreaSize());
  rows_.reset(source.MakeIterator(layoutArea_.data()));
}

bool CaseRows::Next() {
  GiveUpIfInterrupted();
  if (rows_ == nullptr || !rows_->Next()) return false;
  if (projector_) projector_->Project(layoutArea_.data(), area_.data());
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
