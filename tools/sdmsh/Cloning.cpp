// Moving a source from its dataset to the clones that share it, in an order in which it is always
// owned.

#include "Cloning.h"

#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ObsIterator.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <utility>

namespace sdmsh {
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

}  // namespace sdmsh
