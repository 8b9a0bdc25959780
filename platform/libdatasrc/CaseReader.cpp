#include <libdatasrc/CaseReader.h>
#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/internal/RowArea.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

using namespace sdm_internal;

namespace {

DataValue ValueIn(const OBS* cells, int type) {
  if (type == 0) return cells->number;
  return std::string(WithoutPadding({cells->text, static_cast<std::size_t>(type)}));
}

}  // namespace

CaseReader::CaseReader(const ORVX_DataSource& source, Progress progress)
    : projector_(source, source),
      row_(RowArea(source, projector_)),
      area_(static_cast<std::size_t>(projector_.GetToAreaSize())),
      rows_(source.MakeIterator(row_.data())),
      progress_(std::move(progress)),
      total_(static_cast<std::uint64_t>(std::max(source.RowCount(), 0LL)) * RowBytes()) {
  for (int position = 0; position < source.ColumnCount(); ++position) {
    types_.push_back(source.GetVariable(position).GetType());
  }
}

CaseReader::~CaseReader() = default;

bool CaseReader::Next() {
  constexpr std::uint64_t kCasesBetweenReports = 1024;
  if (progress_ && read_ % kCasesBetweenReports == 0 && !progress_(read_ * RowBytes(), total_)) {
    throw GivenUp();
  }
  if (!rows_->Next()) return false;
  ++read_;
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
