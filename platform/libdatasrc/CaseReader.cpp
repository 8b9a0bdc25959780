#include <libdatasrc/CaseReader.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <cstddef>
#include <string>

using namespace sdm_internal;

namespace {

DataValue ValueIn(const OBS* cells, int type) {
  if (type == 0) return cells->number;
  return std::string(WithoutPadding({cells->text, static_cast<std::size_t>(type)}));
}

}  // namespace

CaseReader::CaseReader(const ORVX_DataSource& source)
    : projector_(source, source),
      row_(RowArea(source, projector_)),
      area_(static_cast<std::size_t>(projector_.GetToAreaSize())),
      rows_(source.MakeIterator(row_.data())) {
  for (int position = 0; position < source.ColumnCount(); ++position) {
    types_.push_back(source.GetVariable(position).GetType());
  }
}

CaseReader::~CaseReader() = default;

bool CaseReader::Next() {
  if (!rows_->Next()) return false;
  projector_.Project(row_.data(), area_.data());
  return true;
}

std::vector<DataValue> CaseReader::Values() const {
  std::vector<DataValue> values;
  const OBS* cells = area_.data();
  for (const int type : types_) {
    values.push_back(ValueIn(cells, type));
    cells += ObsCells(type);
  }
  return values;
}
