#include <ServerDataManager/CloneSource.h>

#include <libdatasrc/FilteredDataSource.h>
#include <libdatasrc/ORVX_DataSource.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <utility>

namespace {

std::unique_ptr<SvrDMCloneDataSource> CopyOf(const SvrDMCloneDataSource& clone) {
  auto copy = std::make_unique<SvrDMCloneDataSource>(clone);
  copy->SetDirty(clone.IsDirty());  // copying a dictionary does not copy the dirty flag
  return copy;
}

// Returns a filtered source over `source` with all its cases and variables.
std::unique_ptr<FilteredDataSource> ViewOf(ORVX_DataSource& source) {
  auto view = std::make_unique<FilteredDataSource>(&source);
  view->SetDirty(source.IsDirty());  // copying a dictionary does not copy the dirty flag
  return view;
}

}  // namespace

std::unique_ptr<SvrDMCloneDataSource> CloneSource(SvrDMWriteableDataSource& writer) {
  ORVX_DataSource* const source = *writer;
  if (const auto* const clone = dynamic_cast<const SvrDMCloneDataSource*>(source)) {
    return CopyOf(*clone);
  }
  // The clone and its copy own `view`. If an exception deletes both, they delete `view` with its
  // parents, which must not include `source` while the dataset owns `source`. So `view` gets its
  // parent only after `source` has been taken out of the dataset.
  auto view = ViewOf(*source);
  FilteredDataSource& shared = *view;
  shared.SetParentSource(nullptr);
  auto clone = SvrDMCloneDataSource::Adopt(std::move(view));
  clone->SetDirty(source->IsDirty());
  auto copy = CopyOf(*clone);

  // SetDataSet(clone) deletes the dataset's chain of sources. To take `source` out of that chain,
  // first gives the dataset an interim source built on `source`, then clears the interim's parent.
  auto interim = ViewOf(*source);
  FilteredDataSource& placed = *interim;
  writer.SetDataSet(std::move(interim));
  placed.SetParentSource(nullptr);
  shared.SetParentSource(source);  // from here on, the clones own the former source
  writer.SetDataSet(std::move(clone));
  return copy;
}
