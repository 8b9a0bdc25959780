#include <ServerDataManager/SourceChain.h>

#include <libdatasrc/ORVX_DataSource.h>
#include <libdatasrc/SystemFileDataSource.h>

namespace sdm_internal {

bool IsChildOf(const ORVX_DataSource* child, const ORVX_DataSource* ancestor) {
  if (child == ancestor) return true;
  for (const ORVX_DataSource* link = child; link != nullptr; link = link->GetParentSource()) {
    if (link == ancestor) return true;
  }
  return false;
}

void DeleteDataSourceTo(const ORVX_DataSource* from, const ORVX_DataSource* stop) {
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

}  // namespace sdm_internal
