// A source that shows its parent without some variables.

#include "HiddenVariables.h"

#include <libdatasrc/FilteredDataSource.h>

#include <algorithm>
#include <memory>

namespace sdmsh {
namespace {

// Of the variables that have one of these names. A name that none has is passed over.
std::vector<int> PositionsNamed(const ORVX_DataSource& source,
                                const std::vector<std::string>& names) {
  std::vector<int> positions;
  for (int position = 0; position < source.ColumnCount(); ++position) {
    const std::string name = source.GetVariable(position).GetName();
    if (std::find(names.begin(), names.end(), name) != names.end()) positions.push_back(position);
  }
  return positions;
}

void Delete(const std::vector<int>& positions, ORVX_DataSource& source) {
  std::for_each(positions.rbegin(), positions.rend(),
                [&](int position) { source.DeleteVariables(position, position); });
}

}  // namespace

ORVX_DataSource* HiddenVariables::FilterDataSource(ORVX_DataSource* source) {
  const std::vector<int> hidden = PositionsNamed(*source, names_);
  if (hidden.empty()) return source;
  auto shown = std::make_unique<FilteredDataSource>(source);
  shown->SetDirty(source->IsDirty());  // no part of the dictionary
  Delete(hidden, *shown);
  return shown.release();
}

}  // namespace sdmsh
