#include "Sources.h"

#include "Interrupt.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/FilteredDataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace sdmsh {
namespace {

// How many cells of a row the variable takes.
std::size_t CellCount(const ORVX_Variable& variable) {
  const auto width = static_cast<std::size_t>(variable.GetType());
  return width == 0 ? 1 : (width + sizeof(OBS) - 1) / sizeof(OBS);
}

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

// ---------------------------------------------------------------------------------------------
// Blank cases

namespace {

class BlankRows final : public ObsIterator {
 public:
  BlankRows(std::vector<OBS> row, long long count, OBS* area)
      : row_(std::move(row)), left_(count), area_(area) {}

  bool Next() override {
    GiveUpIfInterrupted();  // a filter may read on for as long as there are rows
    if (left_ == 0) return false;
    --left_;
    std::copy(row_.begin(), row_.end(), area_);
    return true;
  }

 private:
  const std::vector<OBS> row_;
  long long left_;
  OBS* const area_;
};

// Every number is missing and every string blank.
std::vector<OBS> BlankRow(const ORVX_DataSource& dictionary) {
  OBS blanks;
  std::memset(blanks.text, ' ', sizeof blanks.text);
  OBS missing;
  missing.number = kMissingNumber;
  std::vector<OBS> row;
  for (int position = 0; position < dictionary.ColumnCount(); ++position) {
    const ORVX_Variable& variable = dictionary.GetVariable(position);
    row.insert(row.end(), CellCount(variable), variable.GetType() == 0 ? missing : blanks);
  }
  return row;
}

}  // namespace

BlankCases::BlankCases(const ORVX_DataSource& dictionary, long long rowCount)
    : rowCount_(rowCount) {
  CopyDictionary(&dictionary);
}

ObsIterator* BlankCases::MakeIterator(OBS* area) const {
  return new BlankRows(BlankRow(*this), rowCount_, area);
}

// ---------------------------------------------------------------------------------------------
// Clones

namespace {

// Has the dictionary of a source, and its cases once it has it as its parent. A clone deletes what
// it cannot take over, so it is given this first, and the source when no more can fail.
class PassThrough final : public ORVX_DataSource {
 public:
  explicit PassThrough(const ORVX_DataSource& source) { CopyDictionary(&source); }

  void StandOn(ORVX_DataSource* source) {
    SetParentSource(source);
    SetRowLayout(source);
  }

  ObsIterator* MakeIterator(OBS* area) const override {
    return GetParentSource()->MakeIterator(area);
  }
  long long RowCount() const override { return GetParentSource()->RowCount(); }
  bool IsLoaded() const override { return GetParentSource()->IsLoaded(); }
};

std::unique_ptr<SvrDMCloneDataSource> CopyOf(const SvrDMCloneDataSource& clone) {
  auto copy = std::make_unique<SvrDMCloneDataSource>(clone);
  copy->SetDirty(clone.IsDirty());  // no part of the dictionary
  return copy;
}

// In place of the placeholder on top of it, which goes.
void PutBack(SvrDMWriteableDataSource& writer, ORVX_DataSource* source) {
  try {
    writer.SetDataSet(source);
  } catch (...) {  // in place all the same; without the message, or the hold on the file
  }
}

// Leaves an empty source in the place of the present one, which is nobody's then.
ORVX_DataSource* TakeOut(SvrDMWriteableDataSource& writer) {
  ORVX_DataSource* const source = *writer;
  auto placeholder = std::make_unique<DataFreeDataSource>(source);
  ORVX_DataSource* const placed = placeholder.get();
  try {
    writer.SetDataSet(std::move(placeholder));  // built on the source: nothing is deleted
  } catch (...) {
    PutBack(writer, source);
    throw;
  }
  placed->SetParentSource(nullptr);
  return source;
}

}  // namespace

std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer) {
  if (const auto* const clone = dynamic_cast<const SvrDMCloneDataSource*>(*writer)) {
    return CopyOf(*clone);
  }
  auto passThrough = std::make_unique<PassThrough>(**writer);
  PassThrough& shared = *passThrough;
  auto clone = SvrDMCloneDataSource::Adopt(std::move(passThrough));
  clone->SetDirty(writer->IsDirty());
  auto copy = CopyOf(*clone);

  shared.StandOn(TakeOut(writer));      // the clones own it from here on
  writer.SetDataSet(std::move(clone));  // deletes the placeholder
  return copy;
}

// ---------------------------------------------------------------------------------------------
// Hidden variables

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
