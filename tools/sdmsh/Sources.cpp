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

// The number of cells that the variable takes in a row.
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
    GiveUpIfInterrupted();  // a filter may skip all rows, and would not return until the last
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

// A row in which every number is missing and every string is blank.
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

// Has the dictionary of a source, and its cases after StandOn. If a clone cannot adopt a source, it
// deletes the source. So the clone adopts this object first, and this object gets the source as its
// parent when nothing can fail any more.
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
  copy->SetDirty(clone.IsDirty());  // the dirty flag is not part of the dictionary
  return copy;
}

// Makes `source` the writer's data source again. Deletes the placeholder, which has `source` as its
// parent.
void PutBack(SvrDMWriteableDataSource& writer, ORVX_DataSource* source) {
  try {
    writer.SetDataSet(source);
  } catch (...) {  // the source was replaced; only the message or the hold on the file is missing
  }
}

// Replaces the writer's data source with an empty placeholder, and returns the former source. The
// caller then owns the former source.
ORVX_DataSource* TakeOut(SvrDMWriteableDataSource& writer) {
  ORVX_DataSource* const source = *writer;
  auto placeholder = std::make_unique<DataFreeDataSource>(source);
  ORVX_DataSource* const placed = placeholder.get();
  try {
    writer.SetDataSet(std::move(placeholder));  // the source is its parent, so it is not deleted
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

  shared.StandOn(TakeOut(writer));      // from here on, the clones own the former source
  writer.SetDataSet(std::move(clone));  // deletes the placeholder
  return copy;
}

// ---------------------------------------------------------------------------------------------
// Hidden variables

namespace {

// The positions of the variables that have one of these names. Ignores a name that no variable has.
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
  shown->SetDirty(source->IsDirty());  // the dirty flag is not part of the dictionary
  Delete(hidden, *shown);
  return shown.release();
}

}  // namespace sdmsh
