// Projects a row in few steps: copies runs of adjacent cells, then converts single values.

#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

using namespace sdm_internal;

namespace {

// The offset of each variable in a row, in cells, then the length of the row.
std::vector<long> Offsets(const ORVX_DataSource* dictionary) {
  std::vector<long> offsets = {0};
  const int count = dictionary != nullptr ? dictionary->ColumnCount() : 0;
  for (int position = 0; position < count; ++position) {
    offsets.push_back(offsets.back() + ObsCells(dictionary->GetVariable(position).GetType()));
  }
  return offsets;
}

// Converts one value; `fromType` and `toType` differ.
void ConvertValue(const OBS* value, int fromType, OBS* target, int toType) {
  if (fromType == 0) {
    WriteNumberAsText(value->number, toType, target);
    return;
  }
  const std::string_view text(value->text, static_cast<std::size_t>(fromType));
  if (toType == 0) {
    target->number = NumberOrMissing(text);
  } else {
    WriteText(text, toType, target);
  }
}

}  // namespace

ObsProjector::ObsProjector(const ORVX_DataSource& from, const ORVX_DataSource& to) {
  const ORVX_DataSource* const layout = from.RowLayout();
  const std::vector<long> layoutOffsets = Offsets(layout);
  const std::vector<long> toOffsets = Offsets(&to);
  for (int position = 0; position < to.ColumnCount(); ++position) {
    const ORVX_Variable& variable = to.GetVariable(position);
    const int found = from.FindVarIndex(variable.GetID());
    const int laidOut =
        found >= 0 && layout != nullptr ? layout->FindVarIndex(variable.GetID()) : -1;
    const bool isThere = laidOut >= 0;
    Add({isThere ? layoutOffsets[static_cast<std::size_t>(laidOut)] : -1,
         isThere ? layout->GetVariable(laidOut).GetType() : 0,
         isThere ? from.GetVariable(found).GetType() : 0,
         toOffsets[static_cast<std::size_t>(position)], variable.GetType()});
  }
  fromAreaSize_ = layoutOffsets.back();
  toAreaSize_ = toOffsets.back();
}

void ObsProjector::Add(const Conversion& value) {
  if (value.from >= 0 && value.fromType == value.middleType && value.middleType == value.toType) {
    AddRun({value.from, value.to, ObsCells(value.toType)});
  } else {
    conversions_.push_back(value);
  }
}

void ObsProjector::AddRun(const Run& run) {
  if (!runs_.empty()) {
    Run& last = runs_.back();
    if (last.from + last.count == run.from && last.to + last.count == run.to) {
      last.count += run.count;
      return;
    }
  }
  runs_.push_back(run);
}

void ObsProjector::Project(const OBS* from, OBS* to) const {
  for (const Run& run : runs_) {
    if (run.count == 1) {
      to[run.to] = from[run.from];  // faster than calling copy_n
    } else {
      std::copy_n(from + run.from, run.count, to + run.to);
    }
  }
  for (const Conversion& conversion : conversions_) Convert(conversion, from, to);
}

void ObsProjector::Convert(const Conversion& conversion, const OBS* from, OBS* to) {
  const auto [cell, fromType, middleType, toCell, toType] = conversion;
  if (cell < 0) {
    WriteMissing(toType, to + toCell);
  } else if (middleType == fromType || middleType == toType) {
    ConvertValue(from + cell, fromType, to + toCell, toType);
  } else {
    std::vector<OBS> middle(static_cast<std::size_t>(ObsCells(middleType)));
    ConvertValue(from + cell, fromType, middle.data(), middleType);
    ConvertValue(middle.data(), middleType, to + toCell, toType);
  }
}
