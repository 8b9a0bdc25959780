// What goes where is worked out once; a row is then copied in as few runs as there are.

#include <libdatasrc/internal/CellText.h>
#include <libdatasrc/internal/ObsCells.h>
#include <libdatasrc/ObsProjector.h>
#include <libdatasrc/ORVX_DataSource.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

using namespace sdm_internal;

namespace {

// Where each variable begins in a row of the dictionary, and after the last where the row ends.
std::vector<long> Offsets(const ORVX_DataSource& dictionary) {
  std::vector<long> offsets = {0};
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    offsets.push_back(offsets.back() + ObsCells(dictionary.GetVariable(position).GetType()));
  }
  return offsets;
}

}  // namespace

ObsProjector::ObsProjector(const ORVX_DataSource& from, const ORVX_DataSource& to) {
  const std::vector<long> fromOffsets = Offsets(from);
  const std::vector<long> toOffsets = Offsets(to);
  for (int position = 0; position < to.ColumnCount(); ++position) {
    const ORVX_Variable& variable = to.GetVariable(position);
    const int found = from.FindVarIndex(variable.GetID());
    const bool isThere = found >= 0;
    Add({isThere ? fromOffsets[static_cast<std::size_t>(found)] : -1,
         isThere ? from.GetVariable(found).GetType() : 0,
         toOffsets[static_cast<std::size_t>(position)], variable.GetType()});
  }
  fromAreaSize_ = fromOffsets.back();
  toAreaSize_ = toOffsets.back();
}

void ObsProjector::Add(const Conversion& value) {
  if (value.from >= 0 && value.fromType == value.toType) {
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
      to[run.to] = from[run.from];  // faster than a call
    } else {
      std::copy_n(from + run.from, run.count, to + run.to);
    }
  }
  for (const Conversion& conversion : conversions_) Convert(conversion, from, to);
}

void ObsProjector::Convert(const Conversion& conversion, const OBS* from, OBS* to) {
  OBS* const target = to + conversion.to;
  if (conversion.from < 0) {
    WriteMissing(conversion.toType, target);
    return;
  }
  const OBS* const value = from + conversion.from;
  if (conversion.fromType == 0) {
    WriteNumberAsText(value->number, conversion.toType, target);
    return;
  }
  const std::string_view text(value->text, static_cast<std::size_t>(conversion.fromType));
  if (conversion.toType == 0) {
    target->number = NumberOrMissing(text);
  } else {
    WriteText(text, conversion.toType, target);
  }
}
