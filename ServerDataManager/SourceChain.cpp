#include <ServerDataManager/SourceChain.h>

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

namespace sdm_internal {

bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor) {
  if (child == ancestor) return true;
  for (const ORVX_DataSource* link = child; link != nullptr;) {
    if (link == ancestor) return true;
    link = SvrDMCloneDataSource::ParentOf(*link);
  }
  return false;
}

void DeleteDataSourceTo(const ORVX_DataSource* from, const ORVX_DataSource* stop) {
  for (const ORVX_DataSource* link = from; link != nullptr && link != stop;) {
    // The parents of a clone belong to all its copies; the last copy deletes the parents.
    const bool isClone = dynamic_cast<const SvrDMCloneDataSource*>(link) != nullptr;
    const ORVX_DataSource* const parent = isClone ? nullptr : link->GetParentSource();
    delete link;
    link = parent;
  }
}

bool SystemFile(ORVX_DataSource const* ds) {
  const ORVX_DataSource* root = ds;
  for (const ORVX_DataSource* link = ds; link != nullptr;) {
    root = link;
    link = SvrDMCloneDataSource::ParentOf(*link);
  }
  return dynamic_cast<const SystemFileDataSource*>(root) != nullptr;
}

}  // namespace sdm_internal
