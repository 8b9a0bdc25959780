#include <ServerDataManager/SourceChain.h>

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/SystemFileDataSource.h>
#include <ServerDataManager/Invariant.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>

bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor) {
  if (child == ancestor) return true;
  for (const ORVX_DataSource* link = child; link != nullptr; link = link->GetParentSource()) {
    if (link == ancestor) return true;
  }
  return false;
}

void RefuseShownParents([[maybe_unused]] const ORVX_DataSource* ds) {
#ifndef NDEBUG
  for (const ORVX_DataSource* link = ds; link != nullptr; link = link->GetParentSource()) {
    if (link->GetParentSource() == nullptr) return;
    if (dynamic_cast<const SvrDMCloneDataSource*>(link) != nullptr) {
      InvariantFailed("ServerDataManager/SourceChain", __LINE__, "RefuseShownParents",
                      "clone->GetParentSource() == nullptr");
    }
  }
#endif
}

void DeleteDataSourceTo(const ORVX_DataSource* from, const ORVX_DataSource* stop) {
  RefuseShownParents(from);
  for (const ORVX_DataSource* link = from; link != nullptr && link != stop;) {
    const ORVX_DataSource* const parent = link->GetParentSource();
    delete link;
    link = parent;
  }
}

bool SystemFile(ORVX_DataSource const* ds) {
  const ORVX_DataSource* root = ds;
  for (const ORVX_DataSource* link = ds; link != nullptr; link = link->GetParentSource()) {
    root = link;
  }
  return dynamic_cast<const SystemFileDataSource*>(root) != nullptr;
}
