#include <libdatasrc/OBS.h>
#include <libdatasrc/ObsIterator.h>
#include <tests/support/Cases.h>

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace support {
namespace {

long CellsOf(const ORVX_Variable& variable) {
  return variable.GetType() == 0 ? 1 : (variable.GetType() + 7) / 8;
}

std::string ToText(const ORVX_DataSource& layout, const OBS* row) {
  std::ostringstream text;
  text.precision(std::numeric_limits<double>::max_digits10);
  for (int position = 0; position < layout.ColumnCount(); ++position) {
    const ORVX_Variable& variable = layout.GetVariable(position);
    const long cells = CellsOf(variable);
    if (variable.GetType() > 0) {
      text << '[' << std::string(row->text, static_cast<std::size_t>(cells) * sizeof(OBS)) << "] ";
    } else if (std::isnan(row->number)) {
      text << ". ";
    } else {
      text << row->number << ' ';
    }
    row += cells;
  }
  return text.str();
}

int PositionOf(const ORVX_DataSource& source, const std::string& name) {
  for (int position = 0; position < source.ColumnCount(); ++position) {
    if (source.GetVariable(position).GetName() == name) return position;
  }
  throw std::invalid_argument("no variable " + name);
}

void ForEachRow(const ORVX_DataSource& source, const std::function<void(const OBS*)>& use) {
  std::vector<OBS> area(static_cast<std::size_t>(source.GetObsAreaSize()));
  const std::unique_ptr<ObsIterator> iterator(source.MakeIterator(area.data()));
  while (iterator->Next()) use(area.data());
}

}  // namespace

std::vector<std::string> RowsLaidOutBy(const ORVX_DataSource& layout,
                                       const ORVX_DataSource& source) {
  std::vector<std::string> rows;
  ForEachRow(source, [&](const OBS* row) { rows.push_back(ToText(layout, row)); });
  return rows;
}

std::vector<std::string> RowsOf(const ORVX_DataSource& source) {
  return RowsLaidOutBy(source, source);
}

std::vector<std::string> RowsWhere(const ORVX_DataSource& source, const std::string& name) {
  const int position = PositionOf(source, name);
  long cell = 0;
  for (int before = 0; before < position; ++before) cell += CellsOf(source.GetVariable(before));
  std::vector<std::string> rows;
  ForEachRow(source, [&](const OBS* row) {
    const double number = row[cell].number;
    if (number != 0 && !std::isnan(number)) rows.push_back(ToText(source, row));
  });
  return rows;
}

LocallyUniqueID IdOf(const ORVX_DataSource& source, const std::string& name) {
  return source.GetVariable(PositionOf(source, name)).GetID();
}

}  // namespace support
